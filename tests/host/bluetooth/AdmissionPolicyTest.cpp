#include "host/bluetooth/AdmissionPolicy.h"

#include <gtest/gtest.h>

namespace {

using host::AdmissionPolicy;
using host::Peer;
using Standing = Peer::Standing;
using Strangers = AdmissionPolicy::Strangers;
using Trusted = AdmissionPolicy::Trusted;

AdmissionPolicy::Decision decide(Strangers strangers, Trusted trusted, Standing standing) {
  return AdmissionPolicy{strangers, trusted}.decide({standing, false, "Anna"});
}

}  // namespace

TEST(AdmissionPolicy, AsksAboutEverybodyByDefault) {
  for (const Standing standing : {Standing::kTrusted, Standing::kStranger, Standing::kUnknown}) {
    const auto decision = AdmissionPolicy().decide({standing, false, ""});
    EXPECT_TRUE(decision.admitted);
    EXPECT_FALSE(decision.accepted);
  }
}

TEST(AdmissionPolicy, RefusesTheBlockedWhateverElseItSays) {
  for (const Strangers strangers : {Strangers::kAsk, Strangers::kRefuse})
    for (const Trusted trusted : {Trusted::kAsk, Trusted::kAccept})
      EXPECT_FALSE(decide(strangers, trusted, Standing::kBlocked).admitted);
}

TEST(AdmissionPolicy, RefusesStrangersWhenTold) {
  EXPECT_FALSE(decide(Strangers::kRefuse, Trusted::kAsk, Standing::kStranger).admitted);
  EXPECT_TRUE(decide(Strangers::kRefuse, Trusted::kAsk, Standing::kTrusted).admitted);
}

TEST(AdmissionPolicy, AcceptsNobodyButTheTrusted) {
  EXPECT_TRUE(decide(Strangers::kAsk, Trusted::kAccept, Standing::kTrusted).accepted);
  const auto stranger = decide(Strangers::kAsk, Trusted::kAccept, Standing::kStranger);
  EXPECT_TRUE(stranger.admitted);
  EXPECT_FALSE(stranger.accepted);
}

TEST(AdmissionPolicy, RefusesTheUnknownUnlessEverybodyIsAskedAbout) {
  EXPECT_FALSE(decide(Strangers::kRefuse, Trusted::kAsk, Standing::kUnknown).admitted);
  EXPECT_FALSE(decide(Strangers::kAsk, Trusted::kAccept, Standing::kUnknown).admitted);
}
