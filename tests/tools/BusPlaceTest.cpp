#include "tools/phonectl/BusPlace.h"

#include <giomm.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "tools/phonectl/Output.h"

using phonectl::BusPlace;

namespace {

class BusPlaceTest : public testing::Test {
 protected:
  void SetUp() override { Gio::init(); }
};

}  // namespace

TEST_F(BusPlaceTest, IsSessionSystemOrAnAddress) {
  EXPECT_TRUE(BusPlace::valid("session"));
  EXPECT_TRUE(BusPlace::valid("system"));
  EXPECT_TRUE(BusPlace::valid("unix:path=/run/bus"));
  EXPECT_TRUE(BusPlace::valid("unix:path=/a,guid=1234;tcp:host=localhost,port=1"));
}

TEST_F(BusPlaceTest, IsNothingElse) {
  EXPECT_FALSE(BusPlace::valid(""));
  EXPECT_FALSE(BusPlace::valid("Session"));
  EXPECT_FALSE(BusPlace::valid("/run/bus"));
  EXPECT_FALSE(BusPlace::valid("pigeon:coop=1"));
}

TEST_F(BusPlaceTest, NamesItselfInSentences) {
  EXPECT_EQ(BusPlace("session").shown(), "the session bus");
  EXPECT_EQ(BusPlace("unix:path=/a\x1b").shown(), "the bus at unix:path=/a\\x1b");
}

TEST_F(BusPlaceTest, NamesTheOptionForOtherPrograms) {
  EXPECT_EQ(BusPlace("session").option(), "");
  EXPECT_EQ(BusPlace("system").option(), " --bus system");
}
