#include "dbus/Values.h"

#include <gtest/gtest.h>

namespace {

dbus::VariantPtr parse(const std::string& text) {
  return dbus::VariantPtr(g_variant_parse(nullptr, text.c_str(), nullptr, nullptr, nullptr));
}

std::string typeOf(const std::string& text) {
  const dbus::VariantPtr value(g_variant_ref_sink(dbus::textVariant(text)));
  return g_variant_get_type_string(value.get());
}

std::string roundTrip(const std::string& text) {
  const dbus::VariantPtr value(g_variant_ref_sink(dbus::textVariant(text)));
  return dbus::textIn(value.get()).value();
}

}  // namespace

TEST(Values, TextsTravelAsStringsOrElseAsBytes) {
  EXPECT_EQ(typeOf("Bj\xc3\xb8rn"), "s");
  EXPECT_EQ(typeOf("Bj\xf8rn"), "ay");
  EXPECT_EQ(typeOf(std::string("a\0b", 3)), "ay");
}

TEST(Values, TextsSurviveTheRoundTrip) {
  for (const std::string& text : {std::string(), std::string("Bj\xf8rn"), std::string("a\0b", 3)})
    EXPECT_EQ(roundTrip(text), text);
}

TEST(Values, OnlyStringsAndBytesAreTexts) {
  EXPECT_EQ(dbus::textIn(parse("7").get()), std::nullopt);
  EXPECT_EQ(dbus::textIn(nullptr), std::nullopt);
}

TEST(Values, ReadsNamedValuesOfTheExpectedTypeOnly) {
  const auto values = parse("{'flag': <true>, 'text': <'x'>}");
  EXPECT_EQ(dbus::boolNamed(values.get(), "flag"), true);
  EXPECT_EQ(dbus::boolNamed(values.get(), "text"), std::nullopt);
  EXPECT_EQ(dbus::textNamed(values.get(), "text"), "x");
  EXPECT_EQ(dbus::textNamed(values.get(), "none"), std::nullopt);
}

TEST(Values, ReadsNothingFromWhatIsNoDictionary) {
  EXPECT_EQ(dbus::textNamed(parse("'text'").get(), "text"), std::nullopt);
  EXPECT_EQ(dbus::boolNamed(nullptr, "flag"), std::nullopt);
}

TEST(Values, CutsLongTextsBetweenCharacters) {
  std::string name;
  for (int i = 0; i < 2000; ++i) name += "\xc3\xa9";
  const auto text = dbus::textNamed(parse("{'name': <'" + name + "'>}").get(), "name").value();
  EXPECT_LE(text.size(), dbus::kMaxText);
  EXPECT_TRUE(g_utf8_validate(text.c_str(), -1, nullptr));
}

TEST(Values, CutsLongLists) {
  std::string list = "'x'";
  for (int i = 0; i < 300; ++i) list += ", 'x'";
  const auto texts = dbus::textsNamed(parse("{'list': <[" + list + "]>}").get(), "list");
  EXPECT_EQ(texts.value().size(), dbus::kMaxTexts);
}
