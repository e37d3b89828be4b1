#include "framework/src/LogText.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace {

using framework_detail::escapeLogText;

TEST(LogTextTest, OrdinaryTextStaysAsItIs) {
  EXPECT_EQ(escapeLogText("Åsa Öberg, 5 € 😀 \"%s\" 'x'"), "Åsa Öberg, 5 € 😀 \"%s\" 'x'");
  EXPECT_EQ(escapeLogText(""), "");
}

TEST(LogTextTest, ControlCharactersAreEscapedAsInC) {
  EXPECT_EQ(escapeLogText("\a\b\t\n\v\f\r"), "\\a\\b\\t\\n\\v\\f\\r");
  EXPECT_EQ(escapeLogText("\x1b[2J\x7f\x01"), "\\x1b[2J\\x7f\\x01");
  EXPECT_EQ(escapeLogText(std::string_view("a\0b", 3)), "a\\x00b");
}

TEST(LogTextTest, ABackslashIsEscapedSoThatNothingCanBeFeigned) {
  EXPECT_EQ(escapeLogText("\\n"), "\\\\n");
  EXPECT_NE(escapeLogText("\\n"), escapeLogText("\n"));
}

TEST(LogTextTest, EveryByteIsShownInAWayOfItsOwn) {
  std::set<std::string> shown;
  for (int byte = 0; byte < 256; ++byte) {
    shown.insert(escapeLogText(std::string(1, static_cast<char>(byte))));
  }
  EXPECT_EQ(shown.size(), 256u);
}

TEST(LogTextTest, BytesThatAreNotUtf8AreEscaped) {
  EXPECT_EQ(escapeLogText("a\xff\xc3"), "a\\xff\\xc3");
  EXPECT_EQ(escapeLogText("\xc3z"), "\\xc3z");
}

TEST(LogTextTest, ControlCharactersBeyondAsciiAreEscaped) {
  EXPECT_EQ(escapeLogText("\u0085"), "\\xc2\\x85");
  EXPECT_EQ(escapeLogText("\u009b31m"), "\\xc2\\x9b31m");
  EXPECT_EQ(escapeLogText("\u00a0"), "\u00a0");
}

TEST(LogTextTest, UnicodeLineEndsAndDirectionMarksAreEscaped) {
  EXPECT_EQ(escapeLogText("\u2028\u2029"), "\\xe2\\x80\\xa8\\xe2\\x80\\xa9");
  EXPECT_EQ(escapeLogText("\u202e\u2066\u200f"), "\\xe2\\x80\\xae\\xe2\\x81\\xa6\\xe2\\x80\\x8f");
}

TEST(LogTextTest, ATextWithinTheLimitIsWhole) { EXPECT_EQ(escapeLogText("abc", 3), "abc"); }

TEST(LogTextTest, ALongTextIsCutWithANote) {
  EXPECT_EQ(escapeLogText("abcdef", 4), "abcd … 2 more bytes");
}

TEST(LogTextTest, TheCutIsNeverInsideACharacter) {
  EXPECT_EQ(escapeLogText("ab€x", 5), "ab€ … 1 more byte");
  EXPECT_EQ(escapeLogText("ab€x", 4), "ab … 4 more bytes");
  EXPECT_EQ(escapeLogText("ab€x", 3), "ab … 4 more bytes");
  EXPECT_EQ(escapeLogText("😀😀", 7), "😀 … 4 more bytes");
  EXPECT_EQ(escapeLogText("😀", 1), " … 4 more bytes");
}

TEST(LogTextTest, ACutAmongBytesThatAreNotUtf8IsAtTheLimit) {
  EXPECT_EQ(escapeLogText("\xff\xff\xff\xff", 2), "\\xff\\xff … 2 more bytes");
}

}  // namespace
