// The queue of received cards, the dialogue with the observers, and what goes to the phonebook.

#include <thread>

#include "tests/src/ServiceFixture.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class ReceivedCardsTest : public ServiceTest {
 protected:
  ReceivedCardsTest() { InitAndSubscribe(); }
};

TEST_F(ReceivedCardsTest, TwoCardsAreOfferedOneByOneAndStoredTogether) {
  service.forwardVCard("first");
  service.forwardVCard("second");
  service.vCardsAccepted();
  ExpectCalls({"vCardAccept(first)", "vCardAccept(second)", "vCardReceived(first, 2)"});
}

TEST_F(ReceivedCardsTest, EveryObserverIsToldInTheOrderOfSubscription) {
  RecordingObserver second;
  std::vector<std::string> order;
  observer.onCall = [&order](const std::string&) { order.emplace_back("first"); };
  second.onCall = [&order](const std::string&) { order.emplace_back("second"); };
  service.subscribe(&second);
  service.forwardVCard("card");
  service.vCardsAccepted();
  EXPECT_THAT(order, ElementsAre("first", "second", "first", "second"));
}

TEST_F(ReceivedCardsTest, TheOfferIsLoggedAtTheErrorLevelForEachObserver) {
  RecordingObserver second;
  service.subscribe(&second);
  LogRecorder log;
  service.forwardVCard("card");
  EXPECT_THAT(log.texts(),
              ElementsAre(">forwardVCard", "\t\tsending vCard accept request to observers...\n",
                          "\t\tsending vCard accept request to observers...\n", "<forwardVCard"));
  EXPECT_EQ(log.texts(2).size(), 2U);
}

TEST_F(ReceivedCardsTest, OneFailureFailsTheReportButNotTheOtherCards) {
  directory.answers = {"<none/>", "failure: disk full", "<none/>", "<ok/>"};
  service.forwardVCard("first");
  service.forwardVCard("second");
  LogRecorder log;
  service.vCardsAccepted();
  EXPECT_EQ(observer.calls().back(), "vCardError(first, 2)");
  EXPECT_THAT(log.texts(2), ElementsAre("\tError stroring vCard to Directory Service."));
  EXPECT_EQ(directory.requests.size(), 4U);
  EXPECT_EQ(directory.requests.back(), "second");
}

TEST_F(ReceivedCardsTest, TheQueueIsEmptyAfterAFailure) {
  directory.answers = {"<none/>", "failure"};
  service.forwardVCard("card");
  service.vCardsAccepted();
  service.vCardsAccepted();
  EXPECT_EQ(observer.calls().back(), "vCardReceived(, 0)");
}

TEST_F(ReceivedCardsTest, RejectingIsSilentAndEmptiesTheQueue) {
  service.forwardVCard("card");
  LogRecorder log;
  service.vCardsRejected();
  EXPECT_THAT(log.texts(), ElementsAre(">vCardsRejected", "<vCardsRejected"));
  service.vCardsAccepted();
  EXPECT_THAT(directory.requests, IsEmpty());
  ExpectCalls({"vCardAccept(card)", "vCardReceived(, 0)"});
}

TEST_F(ReceivedCardsTest, AnUnreadableObjectIsReportedAndLeavesTheQueueAlone) {
  service.forwardVCard("card");
  LogRecorder log;
  service.errorVCard("");
  EXPECT_THAT(log.texts(),
              ElementsAre(">errorVCard", "\tsending vCard to observer...", "<errorVCard"));
  service.vCardsAccepted();
  ExpectCalls({"vCardAccept(card)", "vCardError(, 1)", "vCardReceived(card, 1)"});
}

TEST_F(ReceivedCardsTest, AcceptingNothingStillTells) {
  service.vCardsAccepted();
  ExpectCalls({"vCardReceived(, 0)"});
  EXPECT_THAT(directory.requests, IsEmpty());
}

TEST_F(ReceivedCardsTest, WithoutObserversCardsAreStoredAllTheSame) {
  service.unsubscribe(&observer);
  service.forwardVCard("card");
  service.vCardsAccepted();
  EXPECT_EQ(directory.requests.back(), "card");
}

TEST_F(ReceivedCardsTest, AcceptFinishedChangesNothing) {
  service.forwardVCard("card");
  LogRecorder log;
  service.vCardsAcceptFinished();
  EXPECT_THAT(log.texts(), ElementsAre(">vCardsAcceptFinished", "<vCardsAcceptFinished"));
  service.vCardsAccepted();
  EXPECT_EQ(observer.calls().back(), "vCardReceived(card, 1)");
}

TEST_F(ReceivedCardsTest, TheOutcomeComesHalfASecondAfterStoring) {
  service.forwardVCard("card");
  const auto began = std::chrono::steady_clock::now();
  service.vCardsAccepted();
  EXPECT_GE(std::chrono::steady_clock::now() - began, std::chrono::milliseconds(500));
}

TEST_F(ReceivedCardsTest, ACardThatComesWhileABatchIsStoredJoinsTheNextOne) {
  service.forwardVCard("first");
  std::thread arriving;
  std::atomic<bool> arrived = false;
  directory.onRequest = [&](const std::string& request) {
    if (request == "first" && !arriving.joinable()) {
      arriving = std::thread([&] {
        service.forwardVCard("late");
        arrived = true;
      });
    }
  };
  observer.onCall = [&](const std::string& call) {
    if (call == "vCardReceived(first, 1)") {
      EXPECT_FALSE(arrived);
    }
  };
  service.vCardsAccepted();
  arriving.join();
  service.vCardsAccepted();
  ExpectCalls({"vCardAccept(first)", "vCardReceived(first, 1)", "vCardAccept(late)",
               "vCardReceived(late, 1)"});
}

TEST_F(ReceivedCardsTest, SubscribingWaitsForARoundOfNotifications) {
  RecordingObserver other;
  std::thread subscribing;
  std::atomic<bool> subscribed = false;
  observer.onCall = [&](const std::string&) {
    subscribing = std::thread([&] {
      service.subscribe(&other);
      subscribed = true;
    });
    std::this_thread::yield();
    EXPECT_FALSE(subscribed);
  };
  service.errorVCard("");
  subscribing.join();
  EXPECT_THAT(other.calls(), IsEmpty());
}

class PhonebookTest : public ReceivedCardsTest {
 protected:
  static std::string Message(const std::string& fields) {
    return "<Schema><Entry>" + fields + "<Group>0</Group></Entry></Schema>";
  }
  static std::string ReadRequest(const std::string& values) {
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?><Schema name=\"PhoneBook\">"
           "<ReasonForMessage>read_request</ReasonForMessage><ResultCols>Surname Firstname Office "
           "Mobile Private DefaultNumber Office2 Picture</ResultCols><Entry>" +
           values + "</Entry></Schema>";
  }
};

TEST_F(PhonebookTest, ANewCardIsAskedForAndThenWrittenUnchanged) {
  const std::string message = Message(
      "<Surname>Berg</Surname><Firstname>Anna</Firstname><Office>1</Office><Office2>2</Office2>"
      "<Mobile>3</Mobile><Private>4</Private>");
  LogRecorder log;
  EXPECT_TRUE(service.vCard2DirectoryService(message));
  EXPECT_THAT(directory.requests,
              ElementsAre(ReadRequest("<Firstname>Anna</Firstname><Surname>Berg</Surname>"
                                      "<Mobile>3</Mobile><Private>4</Private><Office>1</Office>"
                                      "<Office2>2</Office2>"),
                          message));
  EXPECT_THAT(log.texts(),
              ElementsAre(">vCard2DirectoryService", "\tNew phonebook entry is to be created",
                          "\t\tDS REQUEST RESPONSE: <ok/>"));
}

TEST_F(PhonebookTest, ACardThatIsThereIsNotWritten) {
  directory.answers = {"<Schema><Entry><Surname>Berg</Surname></Entry></Schema>"};
  LogRecorder log;
  EXPECT_TRUE(service.vCard2DirectoryService(
      Message("<Surname>Berg</Surname><Firstname>Anna</Firstname>")));
  EXPECT_EQ(directory.requests.size(), 1U);
  EXPECT_THAT(log.texts(),
              ElementsAre(">vCard2DirectoryService", "\tENTRY [Berg, Anna] present, omitting..."));
}

TEST_F(PhonebookTest, MissingValuesAreAskedForAsEmptyElements) {
  service.vCard2DirectoryService(Message("<Surname>Berg</Surname>"));
  EXPECT_EQ(directory.requests.front(),
            ReadRequest("<Firstname></Firstname><Surname>Berg</Surname><Mobile></Mobile>"
                        "<Private></Private><Office></Office><Office2></Office2>"));
}

TEST_F(PhonebookTest, EscapedValuesAreNotEscapedAgain) {
  service.vCard2DirectoryService(Message("<Surname>O&apos;Neil &amp; x</Surname>"));
  EXPECT_THAT(directory.requests.front(), HasSubstr("<Surname>O&apos;Neil &amp; x</Surname>"));
}

TEST_F(PhonebookTest, FailureInsideALongerWordIsAFailure) {
  directory.answers = {"<none/>", "<unfailures/>"};
  LogRecorder log;
  EXPECT_FALSE(service.vCard2DirectoryService(Message("")));
  EXPECT_EQ(log.texts().back(), "<vCard2DirectoryService");
}

TEST_F(PhonebookTest, AnyAnswerWithoutAnEntryLeadsToTheWrite) {
  directory.answers = {"failure: <Entry> missing", ""};
  EXPECT_TRUE(service.vCard2DirectoryService(Message("")));
  EXPECT_EQ(directory.requests.size(), 2U);
}

TEST_F(PhonebookTest, WithoutADirectoryNothingIsStored) {
  OBEXService alone;
  LogRecorder log;
  EXPECT_FALSE(alone.vCard2DirectoryService(Message("")));
  EXPECT_THAT(log.texts(), ElementsAre(">vCard2DirectoryService", "<vCard2DirectoryService"));
}

TEST_F(PhonebookTest, XmlPiecesAreJoinedAsTheyAre) {
  LogRecorder log;
  EXPECT_EQ(service.createXMLBegin("A"), "<A>");
  EXPECT_EQ(service.createXMLClose("A"), "</A>");
  EXPECT_EQ(service.createXMLField("A", "<&>"), "<A><&></A>");
  EXPECT_EQ(service.createXMLField("A", ""), "<A></A>");
  EXPECT_THAT(log.lines(), IsEmpty());
}

}  // namespace
}  // namespace test
