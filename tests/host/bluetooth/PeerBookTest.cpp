#include "host/bluetooth/PeerBook.h"

#include <gtest/gtest.h>

#include "dbus/Values.h"

namespace {

using host::Peer;
using Standing = host::Peer::Standing;

constexpr const char* kAddress = "66:77:88:99:AA:BB";

class PeerBookTest : public testing::Test {
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
  Standing standing() const { return m_book.find(kAddress).standing; }

  host::BluezObjects m_objects;
  host::PeerBook m_book;
};

}  // namespace

TEST_F(PeerBookTest, NobodyIsKnownBeforeBluezWasThere) {
  EXPECT_EQ(standing(), Standing::kUnknown);
}

TEST_F(PeerBookTest, WhomBluezDoesNotKnowIsAStranger) {
  m_book.update(m_objects, true);
  EXPECT_EQ(standing(), Standing::kStranger);
  EXPECT_EQ(m_book.find("").standing, Standing::kUnknown);
}

TEST_F(PeerBookTest, TrustNeedsAPairing) {
  addDevice(false, true, false);
  EXPECT_EQ(standing(), Standing::kStranger);
  addDevice(true, false, false);
  EXPECT_EQ(standing(), Standing::kStranger);
  addDevice(true, true, false);
  EXPECT_EQ(standing(), Standing::kTrusted);
}

TEST_F(PeerBookTest, BlockedOutweighsTrust) {
  addDevice(true, true, true);
  EXPECT_EQ(standing(), Standing::kBlocked);
}

TEST_F(PeerBookTest, WhatBluezSaysOddlyIsNotKnown) {
  addDevice("hci0", ", 'Paired': <true>, 'Trusted': <true>, 'Blocked': <0>");
  EXPECT_EQ(standing(), Standing::kUnknown);
}

TEST_F(PeerBookTest, TheLeastTrustOfSeveralAdaptersCounts) {
  addDevice(true, true, false, "hci0");
  addDevice(true, false, false, "hci1");
  EXPECT_EQ(standing(), Standing::kStranger);
  addDevice(false, false, true, "hci2");
  EXPECT_EQ(standing(), Standing::kBlocked);
}

TEST_F(PeerBookTest, WithoutBluezOnlyTheBlockedAreKnown) {
  addDevice(true, true, false);
  m_book.update(m_objects, false);
  EXPECT_EQ(standing(), Standing::kUnknown);
  addDevice(true, true, true);
  m_book.update(host::BluezObjects(), false);
  EXPECT_EQ(standing(), Standing::kBlocked);
}

TEST_F(PeerBookTest, AddressesAreComparedWithoutTheirCase) {
  addDevice(true, true, false);
  EXPECT_EQ(m_book.find("66:77:88:99:aa:bb").standing, Standing::kTrusted);
}
