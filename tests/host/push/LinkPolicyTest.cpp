#include "host/push/LinkPolicy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <vector>

namespace {

using host::JournalEntry;
using host::LinkPolicy;
using testing::AnyOf;
using testing::ElementsAre;
using testing::StartsWith;

constexpr const char* kPeer = "66:77:88:99:AA:BB";

class LinkPolicyTest : public testing::Test {
 protected:
  LinkPolicy makePolicy(const host::AdmissionPolicy& policy = {}) {
    return LinkPolicy(
        policy, m_peers, m_tracker, [this](int channel) { m_channels.push_back(channel); },
        [this] { ++m_linkEnds; });
  }

  host::DeviceRegistry m_peers;
  std::map<long long, JournalEntry> m_journal;
  host::PushTracker m_tracker{
      [this](const JournalEntry& entry) { m_journal[entry.number] = entry; }};
  std::vector<int> m_channels;
  int m_linkEnds = 0;
};

}  // namespace

TEST_F(LinkPolicyTest, KeepsTheStateOfTheLink) {
  LinkPolicy policy = makePolicy();
  policy.linkListening(4);
  EXPECT_TRUE(policy.state().listening);
  EXPECT_EQ(policy.state().channel, 4);
  EXPECT_TRUE(policy.linkAccepted(kPeer));
  EXPECT_EQ(policy.state().peer, kPeer);
  EXPECT_EQ(policy.state().peerTrust, "unknown");
  policy.linkObject("card.vcf", 120);
  policy.linkAnswered(2, 0x20);
  EXPECT_EQ(policy.state().lastObject, "card.vcf");
  EXPECT_EQ(policy.state().lastSize, 120U);
  EXPECT_EQ(policy.state().lastAnswer, 0x20);
  EXPECT_EQ(policy.state().objects, 1U);
}

TEST_F(LinkPolicyTest, RemembersTheLastPeerWhenTheLinkEnds) {
  LinkPolicy policy = makePolicy();
  policy.linkAccepted(kPeer);
  policy.linkClosed("closed by the peer");
  policy.linkStopped();
  EXPECT_EQ(policy.state().peer, "");
  EXPECT_EQ(policy.state().peerTrust, "");
  EXPECT_EQ(policy.state().lastPeer, kPeer);
  EXPECT_EQ(policy.state().lastLinkEnd, "closed by the peer");
  EXPECT_FALSE(policy.state().listening);
}

TEST_F(LinkPolicyTest, ReportsListeningAndTheEndOfALink) {
  LinkPolicy policy = makePolicy();
  policy.linkListening(4);
  policy.linkAccepted(kPeer);
  policy.linkClosed("closed by the peer");
  policy.linkStopped();
  EXPECT_THAT(m_channels, ElementsAre(4, 0));
  EXPECT_EQ(m_linkEnds, 1);
}

TEST_F(LinkPolicyTest, RecordsARefusalInStateAndJournal) {
  LinkPolicy policy =
      makePolicy({host::AdmissionPolicy::Strangers::kRefuse, host::AdmissionPolicy::Trusted::kAsk});
  EXPECT_FALSE(policy.linkAccepted(kPeer));
  EXPECT_THAT(policy.state().lastDecision, StartsWith(std::string(kPeer) + " is refused: "));
  EXPECT_THAT(m_journal[1].link, StartsWith("not let in: "));
}

TEST(DescribeRadioTest, IsReadyOrSaysWhatIsMissing) {
  EXPECT_THAT(host::describeRadio(), AnyOf("ready", StartsWith("there is no Bluetooth")));
}
