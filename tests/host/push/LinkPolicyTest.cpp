#include "host/push/LinkPolicy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <map>
#include <vector>

#include "tests/support/LogRecorder.h"

namespace {

using host::JournalEntry;
using host::LinkPolicy;
using testing::AnyOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr const char* kPeer = "66:77:88:99:AA:BB";

class LinkPolicyTest : public testing::Test {
 protected:
  LinkPolicy makePolicy(const LinkPolicy::Options& options = {}) {
    return LinkPolicy(
        options, m_peers, m_tracker, [this](int channel) { m_channels.push_back(channel); },
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
  LinkPolicy policy = makePolicy(
      {{host::AdmissionPolicy::Strangers::kRefuse, host::AdmissionPolicy::Trusted::kAsk}});
  EXPECT_FALSE(policy.linkAccepted(kPeer));
  EXPECT_THAT(policy.state().lastDecision, StartsWith(std::string(kPeer) + " is refused: "));
  EXPECT_THAT(m_journal[1].link, StartsWith("not let in: "));
}

TEST_F(LinkPolicyTest, LogsAdmissionsAsInformation) {
  const test::LogRecorder log;
  LinkPolicy policy = makePolicy();
  policy.linkAccepted(kPeer);
  EXPECT_THAT(log.texts(kLogInfo), ElementsAre(policy.state().lastDecision));
  EXPECT_THAT(log.texts(kLogError), IsEmpty());
}

TEST_F(LinkPolicyTest, RetriesAForbiddenConnectWhereBluezRunsAndLogsItOnce) {
  const test::LogRecorder log;
  LinkPolicy policy = makePolicy();
  m_peers.update({}, true);
  EXPECT_TRUE(policy.linkForbidden());
  EXPECT_TRUE(policy.linkForbidden());
  EXPECT_THAT(log.texts(kLogInfo), ElementsAre(HasSubstr("without the Who header")));
}

TEST_F(LinkPolicyTest, DoesNotRetryAForbiddenConnectWithoutBluezOrIfSwitchedOff) {
  LinkPolicy policy = makePolicy();
  EXPECT_FALSE(policy.linkForbidden());
  m_peers.update({}, true);
  LinkPolicy off = makePolicy({{}, false});
  EXPECT_FALSE(off.linkForbidden());
}

TEST_F(LinkPolicyTest, TellsWhyItCannotListenUntilItCan) {
  const test::LogRecorder log;
  LinkPolicy policy = makePolicy();
  for (int i = 0; i < 100; ++i) policy.listenFailed(4, EADDRINUSE);
  EXPECT_EQ(policy.state().listenError, "RFCOMM channel 4 is taken by another program");
  EXPECT_THAT(log.texts(kLogError), ElementsAre(policy.state().listenError));
  policy.linkListening(4);
  EXPECT_EQ(policy.state().listenError, "");
  policy.listenFailed(4, EACCES);
  EXPECT_EQ(policy.state().listenError, "can't listen on RFCOMM channel 4: Permission denied");
}

TEST_F(LinkPolicyTest, IsStoppingWhileReceivingIsSwitchedOff) {
  LinkPolicy policy = makePolicy();
  policy.listenFailed(4, EADDRINUSE);
  EXPECT_FALSE(policy.linkStopping());
  auto first = policy.switchOff();
  auto second = policy.switchOff();
  first.reset();
  EXPECT_TRUE(policy.linkStopping());
  second.reset();
  EXPECT_FALSE(policy.linkStopping());
  EXPECT_EQ(policy.state().listenError, "");
}

TEST(DescribeRadioTest, IsReadyOrSaysWhatIsMissing) {
  EXPECT_THAT(host::describeRadio(), AnyOf("ready", StartsWith("there is no Bluetooth")));
}
