#include "host/bluetooth/DeviceRegistry.h"

#include <gtest/gtest.h>

namespace {

using host::AdmissionPolicy;
using host::Peer;
using TrustLevel = Peer::TrustLevel;
using Strangers = AdmissionPolicy::Strangers;
using Trusted = AdmissionPolicy::Trusted;

AdmissionPolicy::Decision decide(Strangers strangers, Trusted trusted, TrustLevel trust) {
  return AdmissionPolicy{strangers, trusted}.decide({trust, false, "Anna"});
}

}  // namespace

TEST(AdmissionPolicy, AsksAboutEverybodyByDefault) {
  for (const TrustLevel trust :
       {TrustLevel::kTrusted, TrustLevel::kStranger, TrustLevel::kUnknown}) {
    const auto decision = AdmissionPolicy().decide({trust, false, ""});
    EXPECT_TRUE(decision.admitted);
    EXPECT_FALSE(decision.accepted);
  }
}

TEST(AdmissionPolicy, RefusesTheBlockedWhateverElseItSays) {
  for (const Strangers strangers : {Strangers::kAsk, Strangers::kRefuse})
    for (const Trusted trusted : {Trusted::kAsk, Trusted::kAccept})
      EXPECT_FALSE(decide(strangers, trusted, TrustLevel::kBlocked).admitted);
}

TEST(AdmissionPolicy, RefusesStrangersWhenTold) {
  EXPECT_FALSE(decide(Strangers::kRefuse, Trusted::kAsk, TrustLevel::kStranger).admitted);
  EXPECT_TRUE(decide(Strangers::kRefuse, Trusted::kAsk, TrustLevel::kTrusted).admitted);
}

TEST(AdmissionPolicy, AcceptsNobodyButTheTrusted) {
  EXPECT_TRUE(decide(Strangers::kAsk, Trusted::kAccept, TrustLevel::kTrusted).accepted);
  const auto stranger = decide(Strangers::kAsk, Trusted::kAccept, TrustLevel::kStranger);
  EXPECT_TRUE(stranger.admitted);
  EXPECT_FALSE(stranger.accepted);
}

TEST(AdmissionPolicy, RefusesTheUnknownUnlessEverybodyIsAskedAbout) {
  EXPECT_FALSE(decide(Strangers::kRefuse, Trusted::kAsk, TrustLevel::kUnknown).admitted);
  EXPECT_FALSE(decide(Strangers::kAsk, Trusted::kAccept, TrustLevel::kUnknown).admitted);
}
