#include "framework/MultiByteString.h"

#include <gtest/gtest.h>

#include <string>

namespace {

constexpr std::size_t kAll = std::string::npos;

// Encodes any number of up to 21 bits, also those that are not valid characters.
std::string encode(unsigned long point) {
  const auto byte = [](unsigned long value) { return static_cast<char>(value & 0xFF); };
  const auto more = [&](int shift) { return byte(0x80 | ((point >> shift) & 0x3F)); };
  if (point < 0x80) return {byte(point)};
  if (point < 0x800) return {byte(0xC0 | (point >> 6)), more(0)};
  if (point < 0x10000) return {byte(0xE0 | (point >> 12)), more(6), more(0)};
  return {byte(0xF0 | (point >> 18)), more(12), more(6), more(0)};
}

TEST(MultiByteStringTest, CountsCharacters) {
  EXPECT_EQ(mb_substr("abcdef", 2, 3), "cde");
  EXPECT_EQ(mb_substr("Åsa Öberg", 0, 1), "Å");
  EXPECT_EQ(mb_substr("€uro", 0, 2), "€u");
  EXPECT_EQ(mb_substr("😀😁😂", 1, 1), "😁");
}

TEST(MultiByteStringTest, CountsEveryCodePointAsOneCharacter) {
  for (unsigned long point = 0; point <= 0x10FFFF; ++point) {
    if (point >= 0xD800 && point <= 0xDFFF) continue;
    const std::string text = encode(point);
    ASSERT_EQ(mb_substr(text + "b", 0, 1), text) << point;
  }
}

TEST(MultiByteStringTest, CountsSurrogatesAndNumbersAboveUnicodeAsSingleBytes) {
  for (unsigned long point = 0xD800; point <= 0xDFFF; ++point) {
    ASSERT_EQ(mb_substr(encode(point), 0, 1).size(), 1u) << point;
  }
  for (unsigned long point = 0x110000; point <= 0x1FFFFF; point += 0x101) {
    ASSERT_EQ(mb_substr(encode(point), 0, 1).size(), 1u) << point;
  }
}

TEST(MultiByteStringTest, CountsOverlongFormsAsSingleBytes) {
  for (const char* text :
       {"\xc0\x80", "\xc1\xbf", "\xe0\x80\x80", "\xe0\x9f\xbf", "\xf0\x8f\xbf\xbf"}) {
    EXPECT_EQ(mb_substr(text, 0, 1).size(), 1u);
  }
}

TEST(MultiByteStringTest, CountsIncompleteSequencesAsSingleBytes) {
  EXPECT_EQ(mb_substr("\xc3", 0, 1), "\xc3");
  EXPECT_EQ(mb_substr("\xe2\x82", 0, 1), "\xe2");
  EXPECT_EQ(mb_substr("\xe2(\xa1", 0, 1), "\xe2");
  EXPECT_EQ(mb_substr("\xf0\x9f\x98", 0, 2), "\xf0\x9f");
  EXPECT_EQ(mb_substr("\xf0\x9f\x98z", 0, 4), "\xf0\x9f\x98z");
}

TEST(MultiByteStringTest, CountsAndKeepsStrayBytes) {
  EXPECT_EQ(mb_substr("\x80\xff"
                      "ab",
                      0, 3),
            "\x80\xff"
            "a");
}

TEST(MultiByteStringTest, ReturnsAShortTextWhole) {
  EXPECT_EQ(mb_substr("Öäü", 0, 3), "Öäü");
  EXPECT_EQ(mb_substr("Ö", 0, 24), "Ö");
  EXPECT_EQ(mb_substr("", 0, 24), "");
}

TEST(MultiByteStringTest, ReturnsNothingBehindTheEnd) {
  EXPECT_EQ(mb_substr("Öäü", 3, 1), "");
  EXPECT_EQ(mb_substr("Öäü", 100, kAll), "");
  EXPECT_EQ(mb_substr("Öäü", kAll, kAll), "");
}

TEST(MultiByteStringTest, TakesNoneOrAllOfTheRest) {
  EXPECT_EQ(mb_substr("Öäü", 1, 0), "");
  EXPECT_EQ(mb_substr("Öäü", 1, kAll), "äü");
}

TEST(MultiByteStringTest, CountsNulAsACharacter) {
  EXPECT_EQ(mb_substr(std::string("a\0b", 3), 1, 2), std::string("\0b", 2));
}

TEST(MultiByteStringTest, LosesNothingBetweenTwoPieces) {
  const std::string text = "a\xc3\xb6\xff\xe2\x82\xac\xe2\x82z\xf0\x9f\x98\x80\x80";
  for (std::size_t cut = 0; cut <= text.size(); ++cut) {
    EXPECT_EQ(mb_substr(text, 0, cut) + mb_substr(text, cut, kAll), text);
  }
}

}  // namespace
