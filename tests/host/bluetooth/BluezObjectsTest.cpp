#include "host/bluetooth/BluezObjects.h"

#include <gtest/gtest.h>

#include "dbus/Values.h"
#include "host/bluetooth/Address.h"

namespace {

using host::BluezObjects;

/// Signals of BlueZ, in GLib's text format.
class BluezObjectsTest : public testing::Test {
 protected:
  static dbus::VariantPtr parse(const std::string& type, const std::string& text) {
    GVariant* value =
        g_variant_parse(G_VARIANT_TYPE(type.c_str()), text.c_str(), nullptr, nullptr, nullptr);
    EXPECT_NE(value, nullptr) << text;
    return dbus::VariantPtr(value);
  }
  bool reset(const std::string& text) {
    return m_objects.reset(parse("(a{oa{sa{sv}}})", text).get());
  }
  void add(const std::string& path, const std::string& interface, const std::string& properties) {
    m_objects.added(
        parse("(oa{sa{sv}})", "('" + path + "', {'" + interface + "': {" + properties + "}})")
            .get());
  }
  void addDevice(const std::string& properties) {
    add("/org/bluez/hci0/dev_1", "org.bluez.Device1", properties);
  }
  void change(const std::string& path, const std::string& interface,
              const std::string& properties) {
    m_objects.changed(path,
                      parse("(sa{sv}as)", "('" + interface + "', {" + properties + "}, [])").get());
  }
  const host::DeviceFacts& device() const { return m_objects.devices().begin()->second; }

  BluezObjects m_objects;
};

}  // namespace

TEST_F(BluezObjectsTest, ReadsManagedObjects) {
  ASSERT_TRUE(
      reset("({'/org/bluez/hci0': {'org.bluez.Adapter1': {'Address': <'00:aa:01:00:00:00'>,"
            " 'Powered': <true>, 'UUIDs': <['A', 'b']>}},"
            " '/org/bluez/hci0/dev_1': {'org.bluez.Device1': {'Alias': <'Anna'>}}},)"));
  const host::AdapterFacts* const adapter = m_objects.adapter("");
  ASSERT_NE(adapter, nullptr);
  EXPECT_EQ(adapter->shortName(), "hci0");
  EXPECT_EQ(adapter->address, "00:AA:01:00:00:00");
  EXPECT_TRUE(adapter->powered);
  EXPECT_TRUE(adapter->offers("a"));
  EXPECT_FALSE(adapter->offers("c"));
  EXPECT_EQ(device().name, "Anna");
  EXPECT_EQ(device().adapter, "/org/bluez/hci0");
}

TEST_F(BluezObjectsTest, RejectsAMalformedAnswer) {
  EXPECT_FALSE(m_objects.reset(parse("(s)", "('no',)").get()));
  EXPECT_FALSE(m_objects.reset(nullptr));
}

TEST_F(BluezObjectsTest, IgnoresPropertiesOfOddTypes) {
  addDevice("'Address': <7>, 'Alias': <['x']>, 'Paired': <'true'>, 'Blocked': <1>");
  EXPECT_EQ(device().address, "");
  EXPECT_EQ(device().name, "");
  EXPECT_FALSE(device().paired);
}

TEST_F(BluezObjectsTest, JudgesADeviceOnlyOnceAllThreePropertiesAreKnown) {
  addDevice("'Paired': <true>, 'Trusted': <true>, 'Blocked': <'no'>");
  EXPECT_FALSE(device().judged);
  addDevice("'Paired': <true>, 'Trusted': <true>, 'Blocked': <false>");
  EXPECT_TRUE(device().judged);
}

TEST_F(BluezObjectsTest, IgnoresMalformedAddresses) {
  addDevice("'Address': <'66:77:88:99:AA:BB/../../etc'>");
  EXPECT_EQ(device().address, "");
}

TEST(Address, IsSixHexadecimalBytesInEitherCase) {
  const auto address = host::parseAddress("66:77:88:99:aa:BB");
  ASSERT_TRUE(address);
  EXPECT_EQ(address->b[0], 0xBB);
  EXPECT_EQ(address->b[5], 0x66);
  EXPECT_EQ(host::normalAddress("66:77:88:99:aa:BB"), "66:77:88:99:AA:BB");
}

TEST(Address, RejectsEverythingElse) {
  for (const char* text : {"", "66-77-88-99-aa-bb", "66:77:88:99:aa:b", "66:77:88:99:aa:bg",
                           "66:77:88:99:aa:bb:", "6:77:88:99:aa:bb:c"})
    EXPECT_FALSE(host::parseAddress(text)) << text;
  EXPECT_EQ(host::normalAddress("x"), "");
}

TEST_F(BluezObjectsTest, FollowsChanges) {
  addDevice("'Trusted': <false>");
  change("/org/bluez/hci0/dev_1", "org.bluez.Device1", "'Trusted': <true>");
  EXPECT_TRUE(device().trusted);
  change("/org/bluez/hci0/dev_2", "org.bluez.Device1", "'Trusted': <true>");
  EXPECT_EQ(m_objects.devices().size(), 1U);
}

TEST_F(BluezObjectsTest, ForgetsAnObjectThatIsAddedAgain) {
  addDevice("'Trusted': <true>");
  addDevice("'Paired': <true>");
  EXPECT_FALSE(device().trusted);
}

TEST_F(BluezObjectsTest, ForgetsRemovedObjects) {
  add("/org/bluez/hci0", "org.bluez.Adapter1", "");
  addDevice("");
  m_objects.removed(parse("(oas)", "('/org/bluez/hci0/dev_1', ['org.bluez.Device1'])").get());
  m_objects.removed(parse("(oas)", "('/org/bluez/hci0', ['org.bluez.Adapter1', 'x'])").get());
  EXPECT_TRUE(m_objects.devices().empty());
  EXPECT_TRUE(m_objects.adapters().empty());
}

TEST_F(BluezObjectsTest, FindsAdaptersByNameOrAddress) {
  add("/org/bluez/hci0", "org.bluez.Adapter1", "'Address': <'00:AA:01:00:00:00'>");
  add("/org/bluez/hci1", "org.bluez.Adapter1", "'Address': <'00:AA:01:01:00:01'>");
  EXPECT_EQ(m_objects.adapter("")->shortName(), "hci0");
  EXPECT_EQ(m_objects.adapter("hci1")->shortName(), "hci1");
  EXPECT_EQ(m_objects.adapter("00:aa:01:01:00:01")->shortName(), "hci1");
  EXPECT_EQ(m_objects.adapter("hci2"), nullptr);
}

TEST_F(BluezObjectsTest, ReportsDroppedObjects) {
  for (std::size_t i = 0; i < BluezObjects::kMaxObjects; ++i)
    add("/org/bluez/hci0/d" + std::to_string(i), "org.bluez.Device1", "");
  EXPECT_TRUE(m_objects.complete());
  addDevice("");
  EXPECT_FALSE(m_objects.complete());
  EXPECT_EQ(m_objects.devices().size(), BluezObjects::kMaxObjects);
}
