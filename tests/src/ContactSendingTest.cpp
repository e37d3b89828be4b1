// The contact that waits for a destination, and its way out.

#include <algorithm>
#include <chrono>

#include "tests/openobex/FakeOpenObex.h"
#include "tests/src/ServiceFixture.h"

namespace test {
namespace {

using openobex::fake::FakeOpenObex;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

obex_phonebook_data_t Contact(const std::string& surname, const std::string& firstname) {
  obex_phonebook_data_t contact;
  contact.surname = surname;
  contact.firstname = firstname;
  return contact;
}

class ContactSendingTest : public ServiceTest {
 protected:
  ContactSendingTest() { InitAndSubscribe(); }

  std::string Info(const std::string& surname, const std::string& firstname) {
    obex_phonebook_data_t contact = Contact(surname, firstname);
    return service.createInfoString(&contact);
  }
  std::string FileName(const std::string& surname, const std::string& firstname) {
    service.cancelVCard();
    service.sendContact(Contact(surname, firstname));
    std::string name = service.createRemoteFilename();
    service.cancelVCard();
    return name;
  }
};

TEST_F(ContactSendingTest, EveryObserverIsAskedForADestination) {
  RecordingObserver second;
  service.subscribe(&second);
  LogRecorder log;
  service.sendContact(Contact("Berg", "Anna"));
  ExpectCalls({"vCardDestRequest(Berg, Anna)"});
  EXPECT_EQ(second.calls(), observer.calls());
  EXPECT_THAT(log.texts(),
              ElementsAre(">sendContact", ">sendContact", "\tsending DESTINATION request.",
                          ">createInfoString", "\tsending DESTINATION request.",
                          ">createInfoString", "<sendContact", "<sendContact"));
  service.cancelVCard();
}

TEST_F(ContactSendingTest, ANewContactTakesThePlaceOfTheFormer) {
  service.sendContact(Contact("Berg", "Anna"));
  service.sendContact(Contact("Dahl", "Ola"));
  ExpectCalls({"vCardDestRequest(Berg, Anna)", "vCardDestRequest(Dahl, Ola)"});
  EXPECT_EQ(service.createRemoteFilename(), "DahlOla.vcf");
  service.cancelVCard();
  EXPECT_EQ(service.createRemoteFilename(), "");
}

TEST_F(ContactSendingTest, SendingNothingIsAnError) {
  LogRecorder log;
  service.sendVCard("00:11:22:33:44:55", 9);
  EXPECT_THAT(log.texts(), ElementsAre(">sendVCard", "\tBDADDR: 00:11:22:33:44:55, CHANNEL: 9",
                                       "\tvCard queue empty! Shouldn't be..."));
  EXPECT_THAT(log.texts(2), ElementsAre("\tvCard queue empty! Shouldn't be..."));
  EXPECT_THAT(observer.calls(), IsEmpty());
}

TEST_F(ContactSendingTest, CancellingNothingIsHarmless) {
  LogRecorder log;
  service.cancelVCard();
  EXPECT_THAT(log.texts(), ElementsAre(">cancelVCard", "<cancelVCard"));
}

TEST_F(ContactSendingTest, CancelTransmissionChangesNothing) {
  service.sendContact(Contact("Berg", "Anna"));
  LogRecorder log;
  service.cancelTransmission();
  EXPECT_THAT(log.texts(), ElementsAre(">cancelTransmission", "<cancelTransmission"));
  EXPECT_EQ(service.createRemoteFilename(), "BergAnna.vcf");
  service.cancelVCard();
}

TEST_F(ContactSendingTest, AskingAgainWithNothingPendingIsSilent) {
  LogRecorder log;
  service.sendContact();
  EXPECT_THAT(log.texts(), ElementsAre(">sendContact"));
  EXPECT_THAT(observer.calls(), IsEmpty());
}

TEST_F(ContactSendingTest, TheFileNameJoinsSurnameAndFirstName) {
  EXPECT_EQ(FileName("Berg", "Anna"), "BergAnna.vcf");
  EXPECT_EQ(FileName("", "Anna"), "Anna.vcf");
  EXPECT_EQ(FileName("van Berg", "A\nB"), "van BergA\nB.vcf");
  EXPECT_EQ(FileName("", ""), "vcard.vcf");
}

TEST_F(ContactSendingTest, TheInfoStringShowsSurnameAndFirstName) {
  EXPECT_EQ(Info("Berg", "Anna"), "Berg, Anna");
  EXPECT_EQ(Info("", "Anna"), "Anna");
  EXPECT_EQ(Info("Berg", ""), "Berg");
  EXPECT_EQ(Info("", ""), "");
}

TEST_F(ContactSendingTest, TheInfoStringCutsEachNameAt24Characters) {
  const std::string exact(24, 'x');
  EXPECT_EQ(Info(exact, exact), exact + ", " + exact);
  EXPECT_EQ(Info(exact + "y", exact + "y"), exact + "..., " + exact + "...");
  EXPECT_EQ(Info("", exact + "y"), exact + "...");
}

TEST_F(ContactSendingTest, TheInfoStringCountsMultiByteCharactersAsOne) {
  std::string name;
  for (int i = 0; i < 24; ++i) name += "é";
  EXPECT_EQ(Info(name, ""), name);
  EXPECT_EQ(Info(name + "é", ""), name + "...");
}

TEST_F(ContactSendingTest, ControlCharactersBecomeSpacesInTheInfoString) {
  EXPECT_EQ(Info("A\nB\x7f", "C\x1f\xc3\xa9"), "A B , C \xc3\xa9");
}

// The push itself

const std::string kHere = "00:11:22:33:44:55";
const std::string kThere = "66:77:88:99:AA:BB";

class ContactPushTest : public ContactSendingTest {
 protected:
  ContactPushTest() {
    Give(Contact("Berg", "Anna"));
    observer.onCall = [this](const std::string& call) { seen.push_back(call); };
  }
  ~ContactPushTest() override { service.cancelVCard(); }

  void Give(const obex_phonebook_data_t& contact) { service.sendContact(contact); }
  void SendTo(const std::string& address, int channel = 9) { service.sendVCard(address, channel); }
  void AnswerAll() { obex.client().answer(0x20).answer(0x20).answer(0x20); }
  std::string Name() {
    std::string name;
    const std::string value = obex.headersOfCommand(OBEX_CMD_PUT)[1].value;
    for (std::size_t i = 1; i + 2 < value.size(); i += 2) name += value[i];
    return name;
  }
  std::string Body() { return obex.headersOfCommand(OBEX_CMD_PUT)[3].value; }

  FakeOpenObex obex;
  std::vector<std::string> seen;
};

TEST_F(ContactPushTest, SuccessIsToldTwiceFirstWithoutAName) {
  AnswerAll();
  SendTo(kHere);
  EXPECT_THAT(seen, ElementsAre("vCardSendSucc()", "vCardSendSucc(Berg, Anna)"));
  EXPECT_EQ(Name(), "BergAnna.vcf");
  EXPECT_EQ(Body(), "BEGIN:VCARD\r\nVERSION: 2.1\r\nN;CHARSET=UTF-8:Berg;Anna;;;\r\nEND:VCARD\r\n");
  EXPECT_EQ(obex.calls("BtOBEX_TransportConnect").front().bytes, kHere);
}

TEST_F(ContactPushTest, HalfASecondLiesBetweenTheTwoRounds) {
  RecordingObserver second;
  service.subscribe(&second);
  std::vector<std::chrono::steady_clock::time_point> times;
  for (RecordingObserver* one : {&observer, &second}) {
    one->onCall = [&](const std::string&) { times.push_back(std::chrono::steady_clock::now()); };
  }
  AnswerAll();
  SendTo(kHere);
  ASSERT_EQ(times.size(), 4U);
  EXPECT_GE(times[2] - times[1], std::chrono::milliseconds(500));
  EXPECT_THAT(second.calls(), ElementsAre("vCardSendSucc()", "vCardSendSucc(Berg, Anna)"));
}

TEST_F(ContactPushTest, AfterSuccessNothingIsPending) {
  AnswerAll();
  SendTo(kHere);
  LogRecorder log;
  SendTo(kThere);
  EXPECT_THAT(log.texts(2), ElementsAre("\tvCard queue empty! Shouldn't be..."));
}

TEST_F(ContactPushTest, FailureIsToldWithTheAddressAndNoChannel) {
  obex.failConnect(1);
  SendTo(kHere);
  EXPECT_THAT(seen, ElementsAre("vCardSendErr(Berg, Anna, 00:11:22:33:44:55, 0)"));
}

TEST_F(ContactPushTest, ARefusedCardIsAFailure) {
  obex.client().answer(0x20).answer(0x43).answer(0x20);
  SendTo(kHere);
  EXPECT_THAT(seen, ElementsAre("vCardSendErr(Berg, Anna, 00:11:22:33:44:55, 0)"));
}

TEST_F(ContactPushTest, AfterFailureItMayGoElsewhere) {
  obex.failConnect(1);
  SendTo(kHere);
  AnswerAll();
  SendTo(kThere);
  EXPECT_EQ(Name(), "BergAnna.vcf");
  EXPECT_EQ(obex.calls("BtOBEX_TransportConnect").back().bytes, kThere);
  EXPECT_EQ(seen.back(), "vCardSendSucc(Berg, Anna)");
}

TEST_F(ContactPushTest, OnlyTheLastContactIsSent) {
  Give(Contact("Dahl", "Ola"));
  AnswerAll();
  SendTo(kHere);
  EXPECT_EQ(Name(), "DahlOla.vcf");
  EXPECT_EQ(obex.calls("BtOBEX_TransportConnect").size(), 1U);
}

TEST_F(ContactPushTest, AContactWithoutANameIsVcard) {
  Give(Contact("", ""));
  AnswerAll();
  SendTo(kHere);
  EXPECT_EQ(Name(), "vcard.vcf");
  EXPECT_EQ(seen.back(), "vCardSendSucc()");
}

TEST_F(ContactPushTest, ItIsLoggedStepByStep) {
  obex.failConnect(1);
  LogRecorder log;
  SendTo(kHere, 300);
  const std::vector<std::string> texts = log.texts();
  const auto at = [&](const std::string& text) {
    return std::find(texts.begin(), texts.end(), text) - texts.begin();
  };
  EXPECT_EQ(at("\tBDADDR: 00:11:22:33:44:55, CHANNEL: 300"), 1);
  const std::string card =
      "BEGIN:VCARD\r\nVERSION: 2.1\r\nN;CHARSET=UTF-8:Berg;Anna;;;\r\nEND:VCARD\r\n";
  EXPECT_LT(at("\tvCard created: " + card), at("\tCreated vCARD\n" + card + "\n"));
  EXPECT_LT(at("\tCreated vCARD\n" + card + "\n"), at(">CARD_Sender"));
  EXPECT_LT(at(">CARD_Sender"), at("\tspawning thread with result 1"));
  EXPECT_LT(at(">getError"), at("\tsending ERR information."));
  EXPECT_LT(at("<vCardSendErr"), at(">~CARD_Sender"));
  EXPECT_LT(at("<~CARD_Sender"), at("<sendVCard"));
  EXPECT_LT(at("<sendVCard"), at(">~CARD_Creator"));
  EXPECT_LT(at(">~CARD_Creator"), static_cast<long>(texts.size()));
}

}  // namespace
}  // namespace test
