// The contact that waits for a destination.

#include "tests/src/ServiceFixture.h"

namespace test {
namespace {

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

}  // namespace
}  // namespace test
