#include "dbus/BusAddress.h"

#include <giomm.h>
#include <gtest/gtest.h>

#include <cstdlib>

using dbus::BusAddress;

namespace {

class BusAddressTest : public testing::Test {
 protected:
  void SetUp() override { Gio::init(); }
};

}  // namespace

TEST_F(BusAddressTest, AcceptsSessionSystemAndAddresses) {
  EXPECT_TRUE(BusAddress::valid("session"));
  EXPECT_TRUE(BusAddress::valid("system"));
  EXPECT_TRUE(BusAddress::valid("unix:path=/run/bus"));
  EXPECT_TRUE(BusAddress::valid("unix:path=/a,guid=1234;tcp:host=localhost,port=1"));
}

TEST_F(BusAddressTest, RejectsEverythingElse) {
  for (const char* text : {"", "Session", "/run/bus", "pigeon:coop=1", "unix:path=/a\x1b"})
    EXPECT_FALSE(BusAddress::valid(text)) << text;
}

TEST_F(BusAddressTest, DescribesTheBus) {
  EXPECT_EQ(BusAddress("session").describe(), "the session bus");
  EXPECT_EQ(BusAddress("unix:path=/a").describe(), "the bus at unix:path=/a");
}

TEST_F(BusAddressTest, GivesTheOptionForOtherPrograms) {
  EXPECT_EQ(BusAddress("session").option(), "");
  EXPECT_EQ(BusAddress("system").option(), " --bus system");
}

TEST_F(BusAddressTest, ResolvesTheSystemBusFromTheEnvironment) {
  ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/run/test-bus", 1);
  EXPECT_EQ(BusAddress("system").resolve(), "unix:path=/run/test-bus");
  EXPECT_EQ(BusAddress("unix:path=/a").resolve(), "unix:path=/a");
}

TEST_F(BusAddressTest, ThrowsWhenThereIsNoSessionBus) {
  ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
  ::unsetenv("DISPLAY");
  ::setenv("XDG_RUNTIME_DIR", "/nonexistent", 1);
  EXPECT_THROW(static_cast<void>(BusAddress("session").resolve()), Glib::Error);
}
