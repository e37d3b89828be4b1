#include "framework/src/Utf8.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using framework_detail::isUtf8;
using framework_detail::utf8SequenceLength;

// UTF-8 of any number, by the book: also of those that are not characters.
std::string encode(unsigned long point) {
  const auto byte = [](unsigned long value) { return static_cast<char>(value & 0xFF); };
  const auto more = [&](int shift) { return byte(0x80 | ((point >> shift) & 0x3F)); };
  if (point < 0x80) return {byte(point)};
  if (point < 0x800) return {byte(0xC0 | (point >> 6)), more(0)};
  if (point < 0x10000) return {byte(0xE0 | (point >> 12)), more(6), more(0)};
  return {byte(0xF0 | (point >> 18)), more(12), more(6), more(0)};
}

TEST(Utf8Test, EveryCharacterIsOneSequence) {
  for (unsigned long point = 0; point <= 0x10FFFF; ++point) {
    if (point >= 0xD800 && point <= 0xDFFF) continue;
    const std::string text = encode(point);
    ASSERT_EQ(utf8SequenceLength(text, 0), text.size()) << point;
  }
}

TEST(Utf8Test, SurrogatesAndWhatLiesAboveTheLastCharacterAreNone) {
  for (unsigned long point = 0xD800; point <= 0xDFFF; ++point) {
    ASSERT_EQ(utf8SequenceLength(encode(point), 0), 0u) << point;
  }
  for (unsigned long point = 0x110000; point <= 0x1FFFFF; point += 0x101) {
    ASSERT_EQ(utf8SequenceLength(encode(point), 0), 0u) << point;
  }
}

TEST(Utf8Test, OverlongFormsAreNone) {
  EXPECT_EQ(utf8SequenceLength("\xc1\xbf", 0), 0u);
  EXPECT_EQ(utf8SequenceLength("\xe0\x9f\xbf", 0), 0u);
  EXPECT_EQ(utf8SequenceLength("\xf0\x8f\xbf\xbf", 0), 0u);
}

TEST(Utf8Test, AnUnfinishedSequenceIsNone) {
  EXPECT_EQ(utf8SequenceLength("\xf0\x9f\x98", 0), 0u);
  EXPECT_EQ(utf8SequenceLength("\xf0\x9f\x98z", 0), 0u);
  EXPECT_EQ(utf8SequenceLength("\xe2(\xa1", 0), 0u);
}

TEST(Utf8Test, NothingBeginsAtTheEnd) { EXPECT_EQ(utf8SequenceLength("a", 1), 0u); }

TEST(Utf8Test, OneBadByteMakesATextInvalid) {
  EXPECT_TRUE(isUtf8(""));
  EXPECT_TRUE(isUtf8("Åsa 😀"));
  EXPECT_TRUE(isUtf8(std::string_view("a\0b", 3)));
  EXPECT_FALSE(isUtf8("Åsa \xff"));
  EXPECT_FALSE(isUtf8("Åsa \xc3"));
}

}  // namespace
