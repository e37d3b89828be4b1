#include "host/bluetooth/DeviceRegistry.h"

#include <gtest/gtest.h>

#include "dbus/Values.h"

namespace {

using host::AdmissionPolicy;
using host::Peer;
using Strangers = AdmissionPolicy::Strangers;
using Trusted = AdmissionPolicy::Trusted;
using TrustLevel = host::Peer::TrustLevel;

constexpr const char* kAddress = "66:77:88:99:AA:BB";

class DeviceRegistryTest : public testing::Test {
 protected:
  void addDevice(const std::string& adapter, const std::string& properties) {
    const std::string text = "('/org/bluez/" + adapter + "/dev_1', {'org.bluez.Device1': {" +
                             "'Address': <'66:77:88:99:AA:BB'>" + properties + "}})";
    const dbus::VariantPtr arguments(
        g_variant_parse(G_VARIANT_TYPE("(oa{sa{sv}})"), text.c_str(), nullptr, nullptr, nullptr));
    ASSERT_NE(arguments, nullptr) << text;
    m_objects.added(arguments.get());
    m_registry.update(m_objects, true);
  }
  void addDevice(bool paired, bool trusted, bool blocked, const std::string& adapter = "hci0") {
    const auto word = [](bool value) { return value ? "<true>" : "<false>"; };
    addDevice(adapter, std::string(", 'Paired': ") + word(paired) +
                           ", 'Trusted': " + word(trusted) + ", 'Blocked': " + word(blocked));
  }
  TrustLevel trust() const { return m_registry.find(kAddress).trust; }

  host::BluezObjects m_objects;
  host::DeviceRegistry m_registry;
};

AdmissionPolicy::Decision decide(Strangers strangers, Trusted trusted, TrustLevel trust) {
  return AdmissionPolicy{strangers, trusted}.decide({trust, false, "Anna"});
}

}  // namespace

TEST_F(DeviceRegistryTest, NobodyIsKnownBeforeBluezHasAnswered) {
  EXPECT_EQ(trust(), TrustLevel::kUnknown);
}

TEST_F(DeviceRegistryTest, DevicesThatBluezDoesNotKnowAreStrangers) {
  m_registry.update(m_objects, true);
  EXPECT_EQ(trust(), TrustLevel::kStranger);
  EXPECT_EQ(m_registry.find("").trust, TrustLevel::kUnknown);
}

TEST_F(DeviceRegistryTest, TrustRequiresPairing) {
  addDevice(false, true, false);
  EXPECT_EQ(trust(), TrustLevel::kStranger);
  addDevice(true, false, false);
  EXPECT_EQ(trust(), TrustLevel::kStranger);
  addDevice(true, true, false);
  EXPECT_EQ(trust(), TrustLevel::kTrusted);
}

TEST_F(DeviceRegistryTest, BlockedOverridesTrusted) {
  addDevice(true, true, true);
  EXPECT_EQ(trust(), TrustLevel::kBlocked);
}

TEST_F(DeviceRegistryTest, PropertiesOfOddTypesLeaveTheTrustUnknown) {
  addDevice("hci0", ", 'Paired': <true>, 'Trusted': <true>, 'Blocked': <0>");
  EXPECT_EQ(trust(), TrustLevel::kUnknown);
}

TEST_F(DeviceRegistryTest, TheLeastTrustingAdapterDecides) {
  addDevice(true, true, false, "hci0");
  addDevice(true, false, false, "hci1");
  EXPECT_EQ(trust(), TrustLevel::kStranger);
  addDevice(false, false, true, "hci2");
  EXPECT_EQ(trust(), TrustLevel::kBlocked);
}

TEST_F(DeviceRegistryTest, OnlyBlockedDevicesAreKnownWithoutBluez) {
  addDevice(true, true, false);
  m_registry.update(m_objects, false);
  EXPECT_EQ(trust(), TrustLevel::kUnknown);
  addDevice(true, true, true);
  m_registry.update(host::BluezObjects(), false);
  EXPECT_EQ(trust(), TrustLevel::kBlocked);
}

TEST_F(DeviceRegistryTest, IgnoresTheCaseOfAddresses) {
  addDevice(true, true, false);
  EXPECT_EQ(m_registry.find("66:77:88:99:aa:bb").trust, TrustLevel::kTrusted);
}

TEST(AdmissionPolicy, AdmitsEverybodyAndAsksByDefault) {
  for (const TrustLevel trust :
       {TrustLevel::kTrusted, TrustLevel::kStranger, TrustLevel::kUnknown}) {
    const auto decision = AdmissionPolicy().decide({trust, false, ""});
    EXPECT_TRUE(decision.admitted);
    EXPECT_FALSE(decision.accepted);
  }
}

TEST(AdmissionPolicy, AlwaysRefusesBlockedDevices) {
  for (const Strangers strangers : {Strangers::kAsk, Strangers::kRefuse})
    for (const Trusted trusted : {Trusted::kAsk, Trusted::kAccept})
      EXPECT_FALSE(decide(strangers, trusted, TrustLevel::kBlocked).admitted);
}

TEST(AdmissionPolicy, RefusesStrangersIfConfigured) {
  EXPECT_FALSE(decide(Strangers::kRefuse, Trusted::kAsk, TrustLevel::kStranger).admitted);
  EXPECT_TRUE(decide(Strangers::kRefuse, Trusted::kAsk, TrustLevel::kTrusted).admitted);
}

TEST(AdmissionPolicy, AcceptsFromTrustedDevicesOnly) {
  EXPECT_TRUE(decide(Strangers::kAsk, Trusted::kAccept, TrustLevel::kTrusted).accepted);
  const auto stranger = decide(Strangers::kAsk, Trusted::kAccept, TrustLevel::kStranger);
  EXPECT_TRUE(stranger.admitted);
  EXPECT_FALSE(stranger.accepted);
}

TEST(AdmissionPolicy, RefusesUnknownDevicesUnlessItIsTheDefault) {
  EXPECT_FALSE(decide(Strangers::kRefuse, Trusted::kAsk, TrustLevel::kUnknown).admitted);
  EXPECT_FALSE(decide(Strangers::kAsk, Trusted::kAccept, TrustLevel::kUnknown).admitted);
}
