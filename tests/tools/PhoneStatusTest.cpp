#include "tools/phonectl/PhoneStatus.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using phonectl::PhoneStatus;
using testing::Contains;
using testing::HasSubstr;

PhoneStatus statusOf(const char* text) {
  return PhoneStatus(
      Glib::VariantContainerBase(g_variant_ref_sink(g_variant_new_parsed(text)), false));
}

}  // namespace

TEST(PhoneStatus, ReportsAMissingRadio) {
  EXPECT_EQ(statusOf("({'radio': <'ready'>},)").missingRadio(), "");
  EXPECT_EQ(statusOf("({'radio': <'no adapter\x1b'>},)").missingRadio(), "no adapter\\x1b");
}

TEST(PhoneStatus, DescribesTheCurrentWork) {
  EXPECT_EQ(statusOf("({'busy': <true>, 'busyWith': <'vCardSendEvent'>, 'busySeconds': <12>},)")
                .busyWith(),
            "sending a card for 12 s");
  EXPECT_EQ(statusOf("({'busy': <true>, 'busyWith': <'newEvent'>},)").busyWith(),
            "newEvent for 0 s");
  EXPECT_EQ(statusOf("({'busy': <false>, 'busyWith': <'vCardSendEvent'>},)").busyWith(), "");
}

TEST(PhoneStatus, ShowsLinkAndQueue) {
  const auto lines = statusOf(
                         "({'version': <'1'>, 'listening': <true>, 'channel': <4>,"
                         " 'peer': <'66:77:88:99:AA:BB'>, 'queued': <2>},)")
                         .lines();
  EXPECT_THAT(lines, Contains("receiving  on, channel 4, linked to 66:77:88:99:AA:BB"));
  EXPECT_THAT(lines, Contains("busy       no, 2 more requests queued"));
}

TEST(PhoneStatus, PrintsEverythingAsJson) {
  const auto json = statusOf("({'a': <true>, 'b': <5>, 'c': <'x'>, 'd': <1.5>},)").json();
  EXPECT_EQ(json.dump(), R"({"a":true,"b":5,"c":"x","d":"1.5"})");
}

TEST(PhoneStatus, ToleratesMissingValues) {
  const PhoneStatus status = statusOf("(@a{sv} {},)");
  EXPECT_FALSE(status.listening());
  EXPECT_EQ(status.imagesFolder(), "/data/images");
  EXPECT_THAT(status.lines(), Contains(HasSubstr("receiving  off")));
}
