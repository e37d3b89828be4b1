#include "host/bluetooth/DeviceRegistry.h"

#include <gtest/gtest.h>

#include "dbus/Values.h"

namespace {

using host::Peer;
using TrustLevel = host::Peer::TrustLevel;

constexpr const char* kAddress = "66:77:88:99:AA:BB";

class DeviceRegistryTest : public testing::Test {
 protected:
  void addDevice(const std::string& adapter, const std::string& properties) {
    const std::string text = "('/org/bluez/" + adapter + "/dev_1', {'org.bluez.Device1': {" +
                             "'Address': <'66:77:88:99:AA:BB'>" + properties + "}})";
    const host::VariantPtr arguments(
        g_variant_parse(G_VARIANT_TYPE("(oa{sa{sv}})"), text.c_str(), nullptr, nullptr, nullptr));
    ASSERT_NE(arguments, nullptr) << text;
    m_objects.added(arguments.get());
    m_book.update(m_objects, true);
  }
  void addDevice(bool paired, bool trusted, bool blocked, const std::string& adapter = "hci0") {
    const auto word = [](bool value) { return value ? "<true>" : "<false>"; };
    addDevice(adapter, std::string(", 'Paired': ") + word(paired) +
                           ", 'Trusted': " + word(trusted) + ", 'Blocked': " + word(blocked));
  }
  TrustLevel trust() const { return m_book.find(kAddress).trust; }

  host::BluezObjects m_objects;
  host::DeviceRegistry m_book;
};

}  // namespace

TEST_F(DeviceRegistryTest, NobodyIsKnownBeforeBluezWasThere) {
  EXPECT_EQ(trust(), TrustLevel::kUnknown);
}

TEST_F(DeviceRegistryTest, WhomBluezDoesNotKnowIsAStranger) {
  m_book.update(m_objects, true);
  EXPECT_EQ(trust(), TrustLevel::kStranger);
  EXPECT_EQ(m_book.find("").trust, TrustLevel::kUnknown);
}

TEST_F(DeviceRegistryTest, TrustNeedsAPairing) {
  addDevice(false, true, false);
  EXPECT_EQ(trust(), TrustLevel::kStranger);
  addDevice(true, false, false);
  EXPECT_EQ(trust(), TrustLevel::kStranger);
  addDevice(true, true, false);
  EXPECT_EQ(trust(), TrustLevel::kTrusted);
}

TEST_F(DeviceRegistryTest, BlockedOutweighsTrust) {
  addDevice(true, true, true);
  EXPECT_EQ(trust(), TrustLevel::kBlocked);
}

TEST_F(DeviceRegistryTest, WhatBluezSaysOddlyIsNotKnown) {
  addDevice("hci0", ", 'Paired': <true>, 'Trusted': <true>, 'Blocked': <0>");
  EXPECT_EQ(trust(), TrustLevel::kUnknown);
}

TEST_F(DeviceRegistryTest, TheLeastTrustOfSeveralAdaptersCounts) {
  addDevice(true, true, false, "hci0");
  addDevice(true, false, false, "hci1");
  EXPECT_EQ(trust(), TrustLevel::kStranger);
  addDevice(false, false, true, "hci2");
  EXPECT_EQ(trust(), TrustLevel::kBlocked);
}

TEST_F(DeviceRegistryTest, WithoutBluezOnlyTheBlockedAreKnown) {
  addDevice(true, true, false);
  m_book.update(m_objects, false);
  EXPECT_EQ(trust(), TrustLevel::kUnknown);
  addDevice(true, true, true);
  m_book.update(host::BluezObjects(), false);
  EXPECT_EQ(trust(), TrustLevel::kBlocked);
}

TEST_F(DeviceRegistryTest, AddressesAreComparedWithoutTheirCase) {
  addDevice(true, true, false);
  EXPECT_EQ(m_book.find("66:77:88:99:aa:bb").trust, TrustLevel::kTrusted);
}
