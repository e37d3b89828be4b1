// A contact waiting for its destination, and sending it.

#include <algorithm>

#include "tests/src/ServiceFixture.h"

namespace test {
namespace {

const std::string kHere = "00:11:22:33:44:55";
const std::string kThere = "66:77:88:99:AA:BB";

obex_phonebook_data_t& fill(obex_phonebook_data_t& contact, const std::string& surname,
                            const std::string& firstname) {
  contact.surname = surname;
  contact.firstname = firstname;
  return contact;
}

class ContactSending : public ServiceTest {
 protected:
  ContactSending() { initAndSubscribe(); }

  void offer(const std::string& surname, const std::string& firstname) {
    obex_phonebook_data_t contact;
    service.sendContact(fill(contact, surname, firstname));
  }
  void haveOffered(const std::string& surname, const std::string& firstname) {
    offer(surname, firstname);
    recording.forget();
  }
  std::string info(const std::string& surname, const std::string& firstname) {
    obex_phonebook_data_t contact;
    return service.createInfoString(&fill(contact, surname, firstname));
  }
  std::string fileName(const std::string& surname, const std::string& firstname) {
    offer(surname, firstname);
    std::string name = service.createRemoteFilename();
    service.cancelVCard();
    return name;
  }

  // The push: the other device accepts every request, or the link can't be opened.
  void succeed() { obex.client().answer(0x20).answer(0x20).answer(0x20); }
  void fail() { obex.failConnect(1); }

  /// Compares what `sendVCard` did, without what the sender's thread did; `end` is what happens
  /// between the outcome of the push and the deletion of the sender.
  void expectSending(const Entries& end) {
    const Entries& all = recording.entries();
    const auto ran = std::find(all.begin(), all.end(), "CARD_Sender: >run");
    const auto asked = std::find(ran, all.end(), "CARD_Sender: >getError");
    const Entries begin = {">sendVCard",
                           "\tBDADDR: " + kHere + ", CHANNEL: 9",
                           "CARD_Creator: >CARD_Creator",
                           "\tCreated vCARD\n" + kCard + "\n",
                           "CARD_Sender: >CARD_Sender",
                           "CARD_Sender: >init",
                           "CARD_Sender: <init",
                           "CARD_Sender: <CARD_Sender",
                           "spawn CARD_Sender '' 1 0 into 0",
                           "\tspawning thread with result 1",
                           "wait for CARD_Sender",
                           "CARD_Sender: >getError",
                           "CARD_Sender: <getError"};
    expectEntries(joined({{all.begin(), ran}, {asked, all.end()}}),
                  joined({begin,
                          end,
                          {"CARD_Sender: >~CARD_Sender", "CARD_Sender: <~CARD_Sender", "<sendVCard",
                           "CARD_Creator: >~CARD_Creator"}}));
  }

  const std::string kCard =
      "BEGIN:VCARD\r\nVERSION: 2.1\r\nN;CHARSET=UTF-8:Berg;Anna;;;\r\nEND:VCARD\r\n";
};

TEST_F(ContactSending, AsksEveryObserverForADestination) {
  subscribeSecond();
  offer("Berg", "Anna");
  recording.expect({">sendContact", "copy contact", ">sendContact", "take observers",
                    "\tsending DESTINATION request.", ">createInfoString",
                    "vCardDestRequest(Berg, Anna)", "\tsending DESTINATION request.",
                    ">createInfoString", "second vCardDestRequest(Berg, Anna)", "give observers",
                    "<sendContact", "<sendContact"});
}

TEST_F(ContactSending, AsksNobodyWhenNothingIsPending) {
  service.sendContact();
  recording.expect({">sendContact"});
}

TEST_F(ContactSending, AbandonsThePendingContactWhenANewOneComes) {
  offer("Berg", "Anna");
  haveOffered("Dahl", "Ola");
  EXPECT_EQ(recording.liveContacts(), 2);
  EXPECT_EQ(service.createRemoteFilename(), "DahlOla.vcf");
  service.cancelVCard();
  EXPECT_EQ(recording.liveContacts(), 1);
  EXPECT_EQ(service.createRemoteFilename(), "");
}

TEST_F(ContactSending, DeletesTheContactWhenCancelled) {
  haveOffered("Berg", "Anna");
  service.cancelVCard();
  recording.expect({">cancelVCard", "delete contact", "<cancelVCard"});
  service.sendContact();
  recording.expect({">sendContact"});
}

TEST_F(ContactSending, SurvivesCancellingNothing) {
  service.cancelVCard();
  recording.expect({">cancelVCard", "<cancelVCard"});
}

TEST_F(ContactSending, ForgetsTheAddressWhenCancelled) {
  haveOffered("Berg", "Anna");
  fail();
  service.sendVCard(kHere, 9);
  service.cancelVCard();
  haveOffered("Dahl", "Ola");
  service.vCardSendErr();
  EXPECT_EQ(observer.calls.back(), "vCardSendErr(Dahl, Ola, , 0)");
}

TEST_F(ContactSending, IsNotInterruptedByCancelTransmission) {
  haveOffered("Berg", "Anna");
  service.cancelTransmission();
  recording.expect({">cancelTransmission", "<cancelTransmission"});
  EXPECT_EQ(service.createRemoteFilename(), "BergAnna.vcf");
}

TEST_F(ContactSending, ReportsAMissingContact) {
  service.sendVCard(kHere, 9);
  recording.expect({">sendVCard", "\tBDADDR: " + kHere + ", CHANNEL: 9",
                    "error: \tvCard queue empty! Shouldn't be..."});
}

TEST_F(ContactSending, TellsEveryObserverTwiceOfSuccessAndDeletesTheContact) {
  subscribeSecond();
  haveOffered("Berg", "Anna");
  succeed();
  service.sendVCard(kHere, 9);
  expectSending({">vCardSendSucc", "take observers",
                 "\tsending empty SUCC information to notify admin phonelet.", "vCardSendSucc()",
                 "\tsending empty SUCC information to notify admin phonelet.",
                 "second vCardSendSucc()", "sleep 500 ms", "\tsending SUCC information.",
                 ">createInfoString", "vCardSendSucc(Berg, Anna)", "\tsending SUCC information.",
                 ">createInfoString", "second vCardSendSucc(Berg, Anna)", "give observers",
                 "<vCardSendSucc", "delete contact", ">sendContact"});
}

TEST_F(ContactSending, TellsEveryObserverOfFailureAndKeepsTheContact) {
  subscribeSecond();
  haveOffered("Berg", "Anna");
  fail();
  service.sendVCard(kHere, 9);
  const std::string error = "vCardSendErr(Berg, Anna, " + kHere + ", 0)";
  expectSending({">vCardSendErr", "take observers", "\tsending ERR information.",
                 ">createInfoString", error, "\tsending ERR information.", ">createInfoString",
                 "second " + error, "give observers", "<vCardSendErr"});
}

TEST_F(ContactSending, GoesToTheGivenAddressAndChannelUnderTheContactsName) {
  haveOffered("Berg", "Anna");
  succeed();
  service.sendVCard(kHere, 9);
  EXPECT_EQ(obex.calls("BtOBEX_TransportConnect").front().bytes, kHere);
  EXPECT_EQ(recording.count("BtOBEX_TransportConnect 9"), 1);
  EXPECT_EQ(recording.count("CARD_Sender: \tremote filename: BergAnna.vcf, length: 12"), 1);
  EXPECT_EQ(obex.headersOfCommand(OBEX_CMD_PUT)[3].value, kCard);
}

TEST_F(ContactSending, KeepsTheContactPendingWhenThePushFails) {
  haveOffered("Berg", "Anna");
  fail();
  service.sendVCard(kHere, 9);
  succeed();
  service.sendVCard(kThere, 9);
  EXPECT_EQ(obex.calls("BtOBEX_TransportConnect").back().bytes, kThere);
  EXPECT_EQ(observer.calls.back(), "vCardSendSucc(Berg, Anna)");
}

TEST_F(ContactSending, HasNothingPendingAfterSuccess) {
  haveOffered("Berg", "Anna");
  succeed();
  service.sendVCard(kHere, 9);
  service.sendVCard(kThere, 9);
  EXPECT_EQ(recording.entries().back(), "error: \tvCard queue empty! Shouldn't be...");
}

TEST_F(ContactSending, FailsWhenTheDeviceRefusesTheCard) {
  haveOffered("Berg", "Anna");
  obex.client().answer(0x20).answer(0x43).answer(0x20);
  service.sendVCard(kHere, 9);
  EXPECT_EQ(observer.calls.back(), "vCardSendErr(Berg, Anna, " + kHere + ", 0)");
}

TEST_F(ContactSending, AsksTheSenderEvenWhenItCouldNotBeStarted) {
  haveOffered("Berg", "Anna");
  recording.refusesThreads = true;
  service.sendVCard(kHere, 9);
  EXPECT_EQ(recording.count("\tspawning thread with result 0"), 1);
  EXPECT_EQ(recording.count("wait for CARD_Sender"), 1);
  EXPECT_EQ(observer.calls.back(), "vCardSendSucc(Berg, Anna)");
}

TEST_F(ContactSending, NamesTheFileAfterSurnameAndFirstName) {
  EXPECT_EQ(fileName("Berg", "Anna"), "BergAnna.vcf");
  EXPECT_EQ(fileName("", "Anna"), "Anna.vcf");
  EXPECT_EQ(fileName("van Berg", "A\nB"), "van BergA\nB.vcf");
  EXPECT_EQ(fileName("", ""), "vcard.vcf");
}

// The short text for people

TEST_F(ContactSending, ShowsSurnameAndFirstName) {
  EXPECT_EQ(info("Berg", "Anna"), "Berg, Anna");
  EXPECT_EQ(info("", "Anna"), "Anna");
  EXPECT_EQ(info("Berg", ""), "Berg");
  EXPECT_EQ(info("", ""), "");
}

TEST_F(ContactSending, CutsEachNameAfter24Characters) {
  const std::string exact(24, 'x');
  EXPECT_EQ(info(exact, exact), exact + ", " + exact);
  EXPECT_EQ(info(exact + "y", exact + "y"), exact + "..., " + exact + "...");
  EXPECT_EQ(info("", exact + "y"), exact + "...");
}

TEST_F(ContactSending, CountsAMultiByteCharacterAsOne) {
  std::string name;
  for (int i = 0; i < 24; ++i) name += "é";
  EXPECT_EQ(info(name, ""), name);
  EXPECT_EQ(info(name + "é", ""), name + "...");
}

TEST_F(ContactSending, ShowsControlCharactersAsSpaces) {
  EXPECT_EQ(info("A\nB\x7f", "C\x1f\xc3\xa9"), "A B , C \xc3\xa9");
}

}  // namespace
}  // namespace test
