#include "framework/MultiByteString.h"

#include <gtest/gtest.h>

#include <string>

namespace {

constexpr std::size_t kAll = std::string::npos;

TEST(MultiByteStringTest, CountsAsciiByBytes) {
  EXPECT_EQ(mb_substr("abcdef", 0, 3), "abc");
  EXPECT_EQ(mb_substr("abcdef", 2, 3), "cde");
}

TEST(MultiByteStringTest, ASequenceIsOneCharacter) {
  EXPECT_EQ(mb_substr("Åsa Öberg", 0, 1), "Å");
  EXPECT_EQ(mb_substr("€uro", 0, 2), "€u");
  EXPECT_EQ(mb_substr("😀😁😂", 1, 1), "😁");
}

TEST(MultiByteStringTest, TwentyFourCharactersOfAnyLengthAreKeptWhole) {
  std::string text;
  for (int index = 0; index < 30; ++index) text += "ж";
  EXPECT_EQ(mb_substr(text, 0, 24), text.substr(0, 48));
}

TEST(MultiByteStringTest, AShortTextIsReturnedWhole) {
  EXPECT_EQ(mb_substr("Ö", 0, 24), "Ö");
  EXPECT_EQ(mb_substr("", 0, 24), "");
}

TEST(MultiByteStringTest, ATextThatIsExactlyAsLongIsReturnedWhole) {
  EXPECT_EQ(mb_substr("Öäü", 0, 3), "Öäü");
}

TEST(MultiByteStringTest, NothingIsBehindTheEnd) {
  EXPECT_EQ(mb_substr("Öäü", 3, 1), "");
  EXPECT_EQ(mb_substr("Öäü", 100, kAll), "");
  EXPECT_EQ(mb_substr("Öäü", kAll, kAll), "");
}

TEST(MultiByteStringTest, NoneOfItAndAllOfIt) {
  EXPECT_EQ(mb_substr("Öäü", 1, 0), "");
  EXPECT_EQ(mb_substr("Öäü", 1, kAll), "äü");
}

TEST(MultiByteStringTest, AByteThatStartsNoSequenceCountsAsOneAndIsKept) {
  EXPECT_EQ(mb_substr("\x80\xff"
                      "ab",
                      0, 3),
            "\x80\xff"
            "a");
  EXPECT_EQ(mb_substr("\xc3", 0, 1), "\xc3");
  EXPECT_EQ(mb_substr("\xe2\x82", 0, 1), "\xe2");
}

TEST(MultiByteStringTest, OverlongFormsSurrogatesAndTooHighOnesAreSingleBytes) {
  EXPECT_EQ(mb_substr("\xc0\x80", 0, 1), "\xc0");
  EXPECT_EQ(mb_substr("\xe0\x80\x80", 0, 1), "\xe0");
  EXPECT_EQ(mb_substr("\xed\xa0\x80", 0, 1), "\xed");
  EXPECT_EQ(mb_substr("\xf4\x90\x80\x80", 0, 1), "\xf4");
}

TEST(MultiByteStringTest, ANulIsACharacterLikeAnyOther) {
  EXPECT_EQ(mb_substr(std::string("a\0b", 3), 1, 2), std::string("\0b", 2));
}

TEST(MultiByteStringTest, PiecesOfAnyTextPutTogetherAreTheText) {
  const std::string text = "a\xc3\xb6\xff\xe2\x82\xac\xe2\x82z\xf0\x9f\x98\x80\x80";
  for (std::size_t cut = 0; cut <= text.size(); ++cut) {
    EXPECT_EQ(mb_substr(text, 0, cut) + mb_substr(text, cut, kAll), text);
  }
}

}  // namespace
