#include "tools/phonectl/Parameters.h"

#include <gtest/gtest.h>

namespace {

using phonectl::Parameters;

/// Parses a body in GVariant's text format.
Parameters parametersOf(const char* text) {
  return Parameters(
      Glib::VariantContainerBase(g_variant_ref_sink(g_variant_new_parsed(text)), false));
}

}  // namespace

TEST(Parameters, ReadsAString) {
  EXPECT_EQ(parametersOf("({'p': <'Muñoz'>},)").text("p"), "Muñoz");
}

TEST(Parameters, ReadsAByteArray) {
  EXPECT_EQ(parametersOf("({'p': <[byte 0x61, 0xff, 0x00, 0x62]>},)").text("p"),
            std::string("a\xff\0b", 4));
  EXPECT_EQ(parametersOf("({'p': <@ay []>},)").text("p"), "");
}

TEST(Parameters, ReadsBooleansAndIntegers) {
  EXPECT_EQ(parametersOf("({'p': <true>},)").boolean("p"), true);
  EXPECT_EQ(parametersOf("({'p': <-5>},)").number("p"), -5);
  EXPECT_EQ(parametersOf("({'p': <uint32 4000000000>},)").number("p"), 4000000000LL);
  EXPECT_EQ(parametersOf("({'p': <byte 0x07>},)").number("p"), 7);
  EXPECT_EQ(parametersOf("({'p': <int64 -1>},)").number("p"), -1);
}

TEST(Parameters, IgnoresOtherTypesAndNames) {
  const Parameters parameters = parametersOf("({'p': <'x'>, 'n': <5>},)");
  EXPECT_FALSE(parameters.number("p"));
  EXPECT_FALSE(parameters.boolean("p"));
  EXPECT_FALSE(parameters.text("n"));
  EXPECT_FALSE(parameters.text("P"));
}

TEST(Parameters, IsEmptyForAnotherBody) {
  EXPECT_TRUE(parametersOf("('x',)").all().empty());
  EXPECT_TRUE(parametersOf("({'p': 'x'},)").all().empty());
  EXPECT_TRUE(Parameters(Glib::VariantContainerBase()).all().empty());
}

TEST(Parameters, RoundTripsThroughABody) {
  const Parameters parameters(Parameters().addBool("flag", true).body());
  EXPECT_EQ(parameters.boolean("flag"), true);
}

TEST(Parameters, CarriesEveryText) {
  const std::string nul("a\0b", 3);
  const Parameters parameters(Parameters()
                                  .addText("utf8", "Mu\u00f1oz")
                                  .addText("bytes", "5\xff")
                                  .addText("nul", nul)
                                  .addText("empty", "")
                                  .body());
  EXPECT_EQ(parameters.text("utf8"), "Mu\u00f1oz");
  EXPECT_EQ(parameters.text("bytes"), "5\xff");
  EXPECT_EQ(parameters.text("nul"), nul);
  EXPECT_EQ(parameters.text("empty"), "");
  EXPECT_EQ(parameters.all().at("utf8").get_type_string(), "s");
  EXPECT_EQ(parameters.all().at("bytes").get_type_string(), "ay");
  EXPECT_EQ(parameters.all().at("nul").get_type_string(), "ay");
}

TEST(Parameters, CarriesANumber) {
  const Parameters parameters(Parameters().addInt("channel", 9).body());
  EXPECT_EQ(parameters.number("channel"), 9);
  EXPECT_EQ(parameters.all().at("channel").get_type_string(), "i");
}
