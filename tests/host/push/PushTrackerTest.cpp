#include "host/push/PushTracker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <thread>

#include "tests/support/LogRecorder.h"

namespace {

using host::JournalEntry;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr int kDisconnect = 1;
constexpr int kPut = 2;
constexpr int kSuccess = 0x20;

/// Feeds the tracker events of link, service and phonebook.
class PushTrackerTest : public testing::Test {
 protected:
  bool enter(bool unasked, const std::string& peer = "66:77:88:99:AA:BB") {
    return m_tracker.admit(peer, "Anna", unasked);
  }
  void push(const std::string& name = "card.vcf") {
    m_tracker.object(name, 10);
    m_tracker.offered();
    m_tracker.answered(kPut, kSuccess);
  }
  void leave() {
    m_tracker.answered(kDisconnect, kSuccess);
    m_tracker.closed("closed by the peer");
  }
  void pushOnce(bool unasked) {
    ASSERT_TRUE(enter(unasked));
    push();
    leave();
  }
  void accept(const std::vector<std::string>& outcomes) {
    m_tracker.accepting();
    for (const std::string& outcome : outcomes) {
      m_tracker.looked(outcome == "there already" ? outcome : "");
      if (outcome != "there already") m_tracker.added(outcome);
    }
    m_tracker.accepted();
  }
  void reject() {
    m_tracker.rejecting();
    m_tracker.rejected();
  }
  std::string link(long long number) { return m_journal[number].link; }
  std::string book(long long number) { return m_journal[number].book; }

  std::map<long long, JournalEntry> m_journal;
  host::PushTracker m_tracker{
      [this](const JournalEntry& entry) { m_journal[entry.number] = entry; }};
};

}  // namespace

TEST_F(PushTrackerTest, RecordsACardThatWaits) {
  pushOnce(false);
  EXPECT_EQ(link(1), "taken");
  EXPECT_EQ(book(1), "waiting");
  EXPECT_EQ(m_journal[1].object, "card.vcf");
  EXPECT_EQ(m_journal[1].size, 10);
  EXPECT_EQ(m_journal[1].peerName, "Anna");
  EXPECT_EQ(m_journal.size(), 1U);
}

TEST_F(PushTrackerTest, MatchesOutcomesToCardsByOrder) {
  pushOnce(false);
  pushOnce(false);
  pushOnce(false);
  accept({"stored", "there already", "not stored: it is full"});
  EXPECT_EQ(book(1), "stored");
  EXPECT_EQ(book(2), "there already");
  EXPECT_EQ(book(3), "not stored: it is full");
}

TEST_F(PushTrackerTest, RecordsUnknownOutcomesWhenNumbersDisagree) {
  pushOnce(false);
  pushOnce(false);
  accept({"stored"});
  EXPECT_EQ(book(1), "not known");
  EXPECT_EQ(book(2), "not known");
}

TEST_F(PushTrackerTest, RecordsAnUnknownOutcomeWithoutRequests) {
  pushOnce(false);
  accept({});
  EXPECT_EQ(book(1), "not known");
}

TEST_F(PushTrackerTest, LeavesACardThatComesDuringABatchToTheNext) {
  pushOnce(false);
  m_tracker.accepting();
  m_tracker.looked("");
  m_tracker.added("stored");
  pushOnce(false);
  m_tracker.accepted();
  EXPECT_EQ(book(1), "stored");
  EXPECT_EQ(book(2), "waiting");
  accept({"stored"});
  EXPECT_EQ(book(2), "stored");
}

TEST_F(PushTrackerTest, IncludesACardThatIsNotAnsweredYet) {
  ASSERT_TRUE(enter(false));
  m_tracker.object("card.vcf", 10);
  m_tracker.offered();
  accept({"stored"});
  m_tracker.answered(kPut, kSuccess);
  EXPECT_EQ(book(1), "stored");
  EXPECT_EQ(link(1), "taken");
}

TEST_F(PushTrackerTest, LogsStoredCardsAsInformationAndRefusedOnesAsErrors) {
  const test::LogRecorder log;
  pushOnce(false);
  pushOnce(false);
  accept({"stored", "not stored: it is full"});
  EXPECT_THAT(log.texts(kLogInfo), ElementsAre("card \"card.vcf\" from 66:77:88:99:AA:BB: stored"));
  EXPECT_THAT(log.texts(kLogError), ElementsAre(HasSubstr("not stored: it is full")));
}

TEST_F(PushTrackerTest, RecordsRejectedCards) {
  pushOnce(false);
  reject();
  EXPECT_EQ(book(1), "rejected");
}

TEST_F(PushTrackerTest, RecordsObjectsThatAreNoCards) {
  ASSERT_TRUE(enter(false));
  m_tracker.object("odd.vcf", 3);
  m_tracker.unreadable();
  m_tracker.answered(kPut, kSuccess);
  m_tracker.object("empty.vcf", 0);
  m_tracker.answered(kPut, kSuccess);
  EXPECT_EQ(book(1), "no card: it can't be read");
  EXPECT_EQ(book(2), "no card: there is nothing in it");
}

TEST_F(PushTrackerTest, IgnoresErrorsReportedByAnotherThread) {
  ASSERT_TRUE(enter(false));
  m_tracker.object("card.vcf", 3);
  std::thread([this] { m_tracker.unreadable(); }).join();
  EXPECT_EQ(book(1), "");
}

TEST_F(PushTrackerTest, RecordsWhyAnObjectWasRefused) {
  ASSERT_TRUE(enter(false));
  m_tracker.object("photo.jpg", 3);
  m_tracker.answered(kPut, 0x4F);
  m_tracker.object("card.vcf", 3);
  m_tracker.answered(kPut, 0x43);
  EXPECT_EQ(link(1), "refused: its name is not that of a card");
  EXPECT_EQ(link(2), "refused: OBEX answer 0x43");
  EXPECT_EQ(book(2), "");
}

TEST_F(PushTrackerTest, RecordsAPushThatBreaksOff) {
  ASSERT_TRUE(enter(false));
  m_tracker.closed("closed by the peer");
  EXPECT_EQ(link(1), "broken off: closed by the peer");
}

TEST_F(PushTrackerTest, RecordsNothingForALinkWithoutAPush) {
  ASSERT_TRUE(enter(false));
  leave();
  EXPECT_TRUE(m_journal.empty());
}

TEST_F(PushTrackerTest, CombinesRepeatedRefusalsOfOnePeer) {
  for (int i = 0; i < 1000; ++i) m_tracker.refused("66:77:88:99:AA:BB", "", "a stranger");
  m_tracker.refused("66:77:88:99:AA:BC", "", "a stranger");
  EXPECT_EQ(m_journal.size(), 2U);
  EXPECT_EQ(link(1), "not let in: a stranger (1000 times)");
}

TEST_F(PushTrackerTest, RecordsCardsThatWaitAtTheEndAsLost) {
  pushOnce(false);
  m_tracker.end();
  EXPECT_THAT(book(1), HasSubstr("lost"));
}

TEST_F(PushTrackerTest, WantsCardsOfTrustedDevicesStored) {
  EXPECT_FALSE(m_tracker.wantsAcceptance());
  pushOnce(true);
  EXPECT_TRUE(m_tracker.wantsAcceptance());
  EXPECT_TRUE(m_tracker.beginAcceptance());
  accept({"stored"});
  EXPECT_FALSE(m_tracker.wantsAcceptance());
}

TEST_F(PushTrackerTest, LeavesAllCardsToTheUserIfOneIsNotTrusted) {
  pushOnce(true);
  pushOnce(false);
  pushOnce(true);
  EXPECT_FALSE(m_tracker.wantsAcceptance());
  EXPECT_FALSE(m_tracker.beginAcceptance());
  reject();
  pushOnce(true);
  EXPECT_TRUE(m_tracker.wantsAcceptance());
}

TEST_F(PushTrackerTest, WaitsWhileAnotherDeviceIsConnected) {
  pushOnce(true);
  ASSERT_TRUE(enter(false));
  EXPECT_FALSE(m_tracker.beginAcceptance());
  leave();
  EXPECT_TRUE(m_tracker.beginAcceptance());
}

TEST_F(PushTrackerTest, AdmitsNoOtherDeviceUntilTheQueueIsLocked) {
  pushOnce(true);
  ASSERT_TRUE(m_tracker.beginAcceptance());
  EXPECT_FALSE(enter(false));
  EXPECT_TRUE(enter(true));
  leave();
  m_tracker.accepting();
  m_tracker.looked("");
  EXPECT_TRUE(enter(false));
  leave();
  m_tracker.accepted();
  EXPECT_TRUE(enter(false));
}

TEST_F(PushTrackerTest, IgnoresUnreadablePushesOfStrangers) {
  ASSERT_TRUE(enter(false));
  m_tracker.object("odd.vcf", 3);
  m_tracker.unreadable();
  m_tracker.answered(kPut, kSuccess);
  leave();
  pushOnce(true);
  EXPECT_TRUE(m_tracker.wantsAcceptance());
}
