#include "host/push/PushLedger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <thread>

namespace {

using host::JournalEntry;
using testing::HasSubstr;

constexpr int kDisconnect = 1;
constexpr int kPut = 2;
constexpr int kSuccess = 0x20;

/// A link, a service and a phonebook, as the ledger hears of them.
class PushLedgerTest : public testing::Test {
 protected:
  bool enter(bool unasked, const std::string& peer = "66:77:88:99:AA:BB") {
    return m_ledger.admit(peer, "Anna", unasked);
  }
  void push(const std::string& name = "card.vcf") {
    m_ledger.object(name, 10);
    m_ledger.offered();
    m_ledger.answered(kPut, kSuccess);
  }
  void leave() {
    m_ledger.answered(kDisconnect, kSuccess);
    m_ledger.closed("closed by the peer");
  }
  void pushOnce(bool unasked) {
    ASSERT_TRUE(enter(unasked));
    push();
    leave();
  }
  void accept(const std::vector<std::string>& outcomes) {
    m_ledger.accepting();
    for (const std::string& outcome : outcomes) {
      m_ledger.looked(outcome == "there already" ? outcome : "");
      if (outcome != "there already") m_ledger.added(outcome);
    }
    m_ledger.accepted();
  }
  void reject() {
    m_ledger.rejecting();
    m_ledger.rejected();
  }
  std::string link(long long number) { return m_journal[number].link; }
  std::string book(long long number) { return m_journal[number].book; }

  std::map<long long, JournalEntry> m_journal;
  host::PushLedger m_ledger{[this](const JournalEntry& entry) { m_journal[entry.number] = entry; }};
};

}  // namespace

TEST_F(PushLedgerTest, ACardThatIsTakenWaits) {
  pushOnce(false);
  EXPECT_EQ(link(1), "taken");
  EXPECT_EQ(book(1), "waiting");
  EXPECT_EQ(m_journal[1].object, "card.vcf");
  EXPECT_EQ(m_journal[1].size, 10);
  EXPECT_EQ(m_journal[1].peerName, "Anna");
  EXPECT_EQ(m_journal.size(), 1U);
}

TEST_F(PushLedgerTest, TheCardsOfABatchAreToldApartByTheirOrder) {
  pushOnce(false);
  pushOnce(false);
  pushOnce(false);
  accept({"stored", "there already", "not stored: it is full"});
  EXPECT_EQ(book(1), "stored");
  EXPECT_EQ(book(2), "there already");
  EXPECT_EQ(book(3), "not stored: it is full");
}

TEST_F(PushLedgerTest, WhereNumbersDisagreeTheOutcomeIsNotKnown) {
  pushOnce(false);
  pushOnce(false);
  accept({"stored"});
  EXPECT_EQ(book(1), "not known");
  EXPECT_EQ(book(2), "not known");
}

TEST_F(PushLedgerTest, ABatchThatThePhonebookDidNotSeeIsNotKnown) {
  pushOnce(false);
  accept({});
  EXPECT_EQ(book(1), "not known");
}

TEST_F(PushLedgerTest, ACardThatComesDuringABatchJoinsTheNext) {
  pushOnce(false);
  m_ledger.accepting();
  m_ledger.looked("");
  m_ledger.added("stored");
  pushOnce(false);
  m_ledger.accepted();
  EXPECT_EQ(book(1), "stored");
  EXPECT_EQ(book(2), "waiting");
  accept({"stored"});
  EXPECT_EQ(book(2), "stored");
}

TEST_F(PushLedgerTest, ACardThatIsQueuedButNotAnsweredYetIsPartOfTheBatch) {
  ASSERT_TRUE(enter(false));
  m_ledger.object("card.vcf", 10);
  m_ledger.offered();
  accept({"stored"});
  m_ledger.answered(kPut, kSuccess);
  EXPECT_EQ(book(1), "stored");
  EXPECT_EQ(link(1), "taken");
}

TEST_F(PushLedgerTest, RejectedCardsAreToldSo) {
  pushOnce(false);
  reject();
  EXPECT_EQ(book(1), "rejected");
}

TEST_F(PushLedgerTest, WhatIsNoCardIsToldSo) {
  ASSERT_TRUE(enter(false));
  m_ledger.object("odd.vcf", 3);
  m_ledger.unreadable();
  m_ledger.answered(kPut, kSuccess);
  m_ledger.object("empty.vcf", 0);
  m_ledger.answered(kPut, kSuccess);
  EXPECT_EQ(book(1), "no card: it can't be read");
  EXPECT_EQ(book(2), "no card: there is nothing in it");
}

TEST_F(PushLedgerTest, ABatchThatFailedIsNotTakenForAnUnreadableCard) {
  ASSERT_TRUE(enter(false));
  m_ledger.object("card.vcf", 3);
  std::thread([this] { m_ledger.unreadable(); }).join();
  EXPECT_EQ(book(1), "");
}

TEST_F(PushLedgerTest, RefusedObjectsAreToldWithTheReason) {
  ASSERT_TRUE(enter(false));
  m_ledger.object("photo.jpg", 3);
  m_ledger.answered(kPut, 0x4F);
  m_ledger.object("card.vcf", 3);
  m_ledger.answered(kPut, 0x43);
  EXPECT_EQ(link(1), "refused: its name is not that of a card");
  EXPECT_EQ(link(2), "refused: OBEX answer 0x43");
  EXPECT_EQ(book(2), "");
}

TEST_F(PushLedgerTest, APushThatBreaksOffHasALine) {
  ASSERT_TRUE(enter(false));
  m_ledger.closed("closed by the peer");
  EXPECT_EQ(link(1), "broken off: closed by the peer");
}

TEST_F(PushLedgerTest, ALinkWithoutAPushHasNone) {
  ASSERT_TRUE(enter(false));
  leave();
  EXPECT_TRUE(m_journal.empty());
}

TEST_F(PushLedgerTest, RefusalsOfOnePeerInARowAreOneLine) {
  for (int i = 0; i < 1000; ++i) m_ledger.refused("66:77:88:99:AA:BB", "", "a stranger");
  m_ledger.refused("66:77:88:99:AA:BC", "", "a stranger");
  EXPECT_EQ(m_journal.size(), 2U);
  EXPECT_EQ(link(1), "not let in: a stranger (1000 times)");
}

TEST_F(PushLedgerTest, WhatWaitsAtTheEndIsLost) {
  pushOnce(false);
  m_ledger.end();
  EXPECT_THAT(book(1), HasSubstr("lost"));
}

TEST_F(PushLedgerTest, CardsOfTrustedDevicesAreToBeStored) {
  EXPECT_FALSE(m_ledger.wantsAcceptance());
  pushOnce(true);
  EXPECT_TRUE(m_ledger.wantsAcceptance());
  EXPECT_TRUE(m_ledger.beginAcceptance());
  accept({"stored"});
  EXPECT_FALSE(m_ledger.wantsAcceptance());
}

TEST_F(PushLedgerTest, OneCardOfSomebodyElseLeavesAllToTheUser) {
  pushOnce(true);
  pushOnce(false);
  pushOnce(true);
  EXPECT_FALSE(m_ledger.wantsAcceptance());
  EXPECT_FALSE(m_ledger.beginAcceptance());
  reject();
  pushOnce(true);
  EXPECT_TRUE(m_ledger.wantsAcceptance());
}

TEST_F(PushLedgerTest, WhileSomebodyElseIsLinkedNothingIsStored) {
  pushOnce(true);
  ASSERT_TRUE(enter(false));
  EXPECT_FALSE(m_ledger.beginAcceptance());
  leave();
  EXPECT_TRUE(m_ledger.beginAcceptance());
}

TEST_F(PushLedgerTest, NobodyElseComesInBeforeTheQueueIsLocked) {
  pushOnce(true);
  ASSERT_TRUE(m_ledger.beginAcceptance());
  EXPECT_FALSE(enter(false));
  EXPECT_TRUE(enter(true));
  leave();
  m_ledger.accepting();
  m_ledger.looked("");
  EXPECT_TRUE(enter(false));
  leave();
  m_ledger.accepted();
  EXPECT_TRUE(enter(false));
}

TEST_F(PushLedgerTest, AnUnreadablePushOfAStrangerDoesNotStopTheOthers) {
  ASSERT_TRUE(enter(false));
  m_ledger.object("odd.vcf", 3);
  m_ledger.unreadable();
  m_ledger.answered(kPut, kSuccess);
  leave();
  pushOnce(true);
  EXPECT_TRUE(m_ledger.wantsAcceptance());
}
