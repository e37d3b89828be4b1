// The queue of received cards, the dialogue with the observers, and storing in the directory.

#include "tests/src/ServiceFixture.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class ReceivedCards : public ServiceTest {
 protected:
  ReceivedCards() { initAndSubscribe(); }

  void receive(const std::string& card) {
    service.forwardVCard(card);
    recording.forget();
  }
};

TEST_F(ReceivedCards, AreOfferedUnderBothLocks) {
  subscribeSecond();
  service.forwardVCard("card");
  const std::string offers = "error: \t\tsending vCard accept request to observers...\n";
  recording.expect({">forwardVCard", "take cards", "take observers", offers, "vCardAccept(card)",
                    offers, "second vCardAccept(card)", "give observers", "give cards",
                    "<forwardVCard"});
}

TEST_F(ReceivedCards, ReportAnUnreadableObjectUnderTheObserversLock) {
  subscribeSecond();
  service.errorVCard("text");
  recording.expect({">errorVCard", "take observers", "\tsending vCard to observer...",
                    "vCardError(text, 1)", "\tsending vCard to observer...",
                    "second vCardError(text, 1)", "give observers", "<errorVCard"});
}

TEST_F(ReceivedCards, AreStoredAndReportedUnderTheirLock) {
  receive("first");
  receive("other");
  subscribeSecond();
  service.vCardsAccepted();
  recording.expect({">vCardsAccepted", "take cards", ">vCard2DirectoryService", "directory read",
                    "\tNew phonebook entry is to be created", "directory write first",
                    "\t\tDS REQUEST RESPONSE: <ok/>", ">vCard2DirectoryService", "directory read",
                    "\tNew phonebook entry is to be created", "directory write other",
                    "\t\tDS REQUEST RESPONSE: <ok/>", "usleep 500000", "take observers",
                    "vCardReceived(first, 2)", "second vCardReceived(first, 2)", "give observers",
                    "give cards", "<vCardsAccepted"});
}

TEST_F(ReceivedCards, AreAllStoredAndReportedAsAnErrorWhenOneFails) {
  receive("first");
  receive("other");
  subscribeSecond();
  directory.answers = {"<none/>", "failure: disk full", "<none/>", "<ok/>"};
  service.vCardsAccepted();
  recording.expect({">vCardsAccepted",
                    "take cards",
                    ">vCard2DirectoryService",
                    "directory read",
                    "\tNew phonebook entry is to be created",
                    "directory write first",
                    "\t\tDS REQUEST RESPONSE: failure: disk full",
                    "<vCard2DirectoryService",
                    "error: \tError stroring vCard to Directory Service.",
                    ">vCard2DirectoryService",
                    "directory read",
                    "\tNew phonebook entry is to be created",
                    "directory write other",
                    "\t\tDS REQUEST RESPONSE: <ok/>",
                    "usleep 500000",
                    "take observers",
                    "vCardError(first, 2)",
                    "second vCardError(first, 2)",
                    "give observers",
                    "give cards",
                    "<vCardsAccepted"});
}

TEST_F(ReceivedCards, AreReportedWithCountZeroWhenNoneWaits) {
  service.vCardsAccepted();
  recording.expect({">vCardsAccepted", "take cards", "usleep 500000", "take observers",
                    "vCardReceived(, 0)", "give observers", "give cards", "<vCardsAccepted"});
}

TEST_F(ReceivedCards, AreForgottenOnceAccepted) {
  receive("card");
  service.vCardsAccepted();
  service.vCardsAccepted();
  EXPECT_THAT(observer.calls,
              ElementsAre("vCardAccept(card)", "vCardReceived(card, 1)", "vCardReceived(, 0)"));
}

TEST_F(ReceivedCards, AreForgottenOnceTheyFailed) {
  receive("card");
  directory.answers = {"<none/>", "failure"};
  service.vCardsAccepted();
  service.vCardsAccepted();
  EXPECT_THAT(observer.calls,
              ElementsAre("vCardAccept(card)", "vCardError(card, 1)", "vCardReceived(, 0)"));
}

TEST_F(ReceivedCards, AreForgottenSilentlyWhenRejected) {
  receive("card");
  service.vCardsRejected();
  recording.expect({">vCardsRejected", "take cards", "give cards", "<vCardsRejected"});
  service.vCardsAccepted();
  EXPECT_EQ(observer.calls.back(), "vCardReceived(, 0)");
  EXPECT_TRUE(directory.requests.empty());
}

TEST_F(ReceivedCards, KeepACardThatArrivesOnceTheQueueIsUnlocked) {
  receive("card");
  for (const auto answer : {&OBEXService::vCardsAccepted, &OBEXService::vCardsRejected}) {
    recording.onEntry = [this](const std::string& entry) {
      if (entry == "give cards") service.forwardVCard("late");
    };
    (service.*answer)();
    recording.onEntry = nullptr;
    service.vCardsAccepted();
    EXPECT_EQ(observer.calls.back(), "vCardReceived(late, 1)");
  }
}

TEST_F(ReceivedCards, StayInTheQueueWhenAnotherObjectIsUnreadable) {
  receive("card");
  service.errorVCard("");
  service.vCardsAccepted();
  EXPECT_EQ(observer.calls.back(), "vCardReceived(card, 1)");
}

TEST_F(ReceivedCards, StayInTheQueueWhenAcceptingHasFinished) {
  receive("card");
  service.vCardsAcceptFinished();
  recording.expect({">vCardsAcceptFinished", "<vCardsAcceptFinished"});
  service.vCardsAccepted();
  EXPECT_EQ(observer.calls.back(), "vCardReceived(card, 1)");
}

TEST_F(ReceivedCards, AreStoredWithoutObservers) {
  service.unsubscribe(&observer);
  receive("card");
  service.vCardsAccepted();
  EXPECT_EQ(directory.requests.back(), "card");
}

// Storing one card

class DirectoryStorage : public ReceivedCards {
 protected:
  static std::string message(const std::string& fields) {
    return "<Schema><Entry>" + fields + "<Group>0</Group></Entry></Schema>";
  }
  static std::string readRequest(const std::string& values) {
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?><Schema name=\"PhoneBook\">"
           "<ReasonForMessage>read_request</ReasonForMessage><ResultCols>Surname Firstname Office "
           "Mobile Private DefaultNumber Office2 Picture</ResultCols><Entry>" +
           values + "</Entry></Schema>";
  }
};

TEST_F(DirectoryStorage, AsksForNamesAndNumbersInAFixedOrder) {
  service.vCard2DirectoryService(message(
      "<Surname>Berg</Surname><Firstname>Anna</Firstname><Office>1</Office><Office2>2</Office2>"
      "<Mobile>3</Mobile><Private>4</Private>"));
  EXPECT_EQ(directory.requests.front(),
            readRequest("<Firstname>Anna</Firstname><Surname>Berg</Surname><Mobile>3</Mobile>"
                        "<Private>4</Private><Office>1</Office><Office2>2</Office2>"));
}

TEST_F(DirectoryStorage, AsksForMissingValuesWithEmptyElements) {
  service.vCard2DirectoryService(message("<Surname>Berg</Surname>"));
  EXPECT_EQ(directory.requests.front(),
            readRequest("<Firstname></Firstname><Surname>Berg</Surname><Mobile></Mobile>"
                        "<Private></Private><Office></Office><Office2></Office2>"));
}

TEST_F(DirectoryStorage, DoesNotEscapeValuesAgain) {
  service.vCard2DirectoryService(message("<Surname>O&apos;Neil &amp; x</Surname>"));
  EXPECT_THAT(directory.requests.front(), HasSubstr("<Surname>O&apos;Neil &amp; x</Surname>"));
}

TEST_F(DirectoryStorage, WritesANewCardUnchanged) {
  EXPECT_TRUE(service.vCard2DirectoryService(message("<Surname>Berg</Surname>")));
  recording.expect(
      {">vCard2DirectoryService", "directory read", "\tNew phonebook entry is to be created",
       "directory write " + message("<Surname>Berg</Surname>"), "\t\tDS REQUEST RESPONSE: <ok/>"});
}

TEST_F(DirectoryStorage, SkipsACardThatIsThereAlready) {
  directory.answers = {"<Schema><Entry><Surname>Berg</Surname></Entry></Schema>"};
  EXPECT_TRUE(service.vCard2DirectoryService(
      message("<Surname>Berg</Surname><Firstname>Anna</Firstname>")));
  recording.expect(
      {">vCard2DirectoryService", "directory read", "\tENTRY [Berg, Anna] present, omitting..."});
}

TEST_F(DirectoryStorage, FailsWhenTheAnswerContainsTheWordFailure) {
  directory.answers = {"<none/>", "<unfailures/>"};
  EXPECT_FALSE(service.vCard2DirectoryService("card"));
  recording.expect({">vCard2DirectoryService", "directory read",
                    "\tNew phonebook entry is to be created", "directory write card",
                    "\t\tDS REQUEST RESPONSE: <unfailures/>", "<vCard2DirectoryService"});
}

TEST_F(DirectoryStorage, WritesAfterAnyAnswerWithoutAnEntry) {
  directory.answers = {"<Schema>failure: <Entry> missing</Schema>", ""};
  EXPECT_TRUE(service.vCard2DirectoryService("card"));
  EXPECT_EQ(directory.requests.back(), "card");
}

TEST_F(DirectoryStorage, FailsWithoutADirectory) {
  OBEXService alone;
  recording.forget();
  EXPECT_FALSE(alone.vCard2DirectoryService("card"));
  recording.expect({">vCard2DirectoryService", "<vCard2DirectoryService"});
}

TEST_F(DirectoryStorage, JoinsXmlPiecesAsTheyAre) {
  EXPECT_EQ(service.createXMLBegin("A"), "<A>");
  EXPECT_EQ(service.createXMLClose("A"), "</A>");
  EXPECT_EQ(service.createXMLField("A", "<&>"), "<A><&></A>");
  EXPECT_EQ(service.createXMLField("A", ""), "<A></A>");
  recording.expect({});
}

}  // namespace
}  // namespace test
