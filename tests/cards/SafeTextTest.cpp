#include "cards/SafeText.h"

#include <gtest/gtest.h>

using cards::displayWidth;
using cards::safeJson;
using cards::safeLines;
using cards::safeText;

TEST(SafeText, LeavesPrintableTextUnchanged) {
  EXPECT_EQ(safeText("Muñoz, José \\ \"q\" 日本 😀"), "Muñoz, José \\ \"q\" 日本 😀");
  EXPECT_EQ(safeText(""), "");
}

TEST(SafeText, EscapesLineEndsAndTabs) { EXPECT_EQ(safeText("a\nb\rc\td"), "a\\nb\\rc\\td"); }

TEST(SafeText, EscapesControlCharacters) {
  EXPECT_EQ(safeText("\x1b[31mred\x07\x7f"), "\\x1b[31mred\\x07\\x7f");
  EXPECT_EQ(safeText(std::string_view("a\0b", 3)), "a\\x00b");
}

TEST(SafeText, EscapesC1ControlCharacters) {
  EXPECT_EQ(safeText("\xc2\x9b"
                     "31m"),
            "\\u009b31m");
}

TEST(SafeText, EscapesBidirectionalControls) {
  EXPECT_EQ(safeText("a\u202eb\u2066c\u200fd\u061c"), "a\\u202eb\\u2066c\\u200fd\\u061c");
}

TEST(SafeText, EscapesInvisibleAndUnassignedCharacters) {
  EXPECT_EQ(safeText("a\u200bb\ufeff\u2028\u2029"), "a\\u200bb\\ufeff\\u2028\\u2029");
  EXPECT_EQ(safeText("\U000E0041\ue000"), "\\U000e0041\\ue000");
}

TEST(SafeText, KeepsZeroWidthJoiners) { EXPECT_EQ(safeText("a\u200db\u200c"), "a\u200db\u200c"); }

TEST(SafeText, ReplacesEachInvalidByte) {
  EXPECT_EQ(safeText("a\xff\xfe"
                     "b"),
            "a\uFFFD\uFFFDb");
  EXPECT_EQ(safeText("\xe2\x82"), "\uFFFD\uFFFD");
  EXPECT_EQ(safeText("\xed\xa0\x80"), "\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(safeText("\xc0\x9b"), "\uFFFD\uFFFD");
}

TEST(SafeText, ReplacesATruncatedCharacterBeforeNul) {
  EXPECT_EQ(safeText(std::string_view("\xe2\x82\0x", 4)), "\uFFFD\uFFFD\\x00x");
}

TEST(SafeText, CountsTheBytesBeyondTheLimit) {
  EXPECT_EQ(safeText("abcdef", 6), "abcdef");
  EXPECT_EQ(safeText("abcdef", 4), "abcd... (2 more bytes)");
  EXPECT_EQ(safeText("éé", 1), "é... (2 more bytes)");
}

TEST(SafeText, HandlesMegabytes) {
  const std::string text(4U << 20, '\x1b');
  EXPECT_EQ(safeText(text).size(), text.size() * 4);
}

TEST(SafeLines, EscapesEachLineAndKeepsTheLineEnds) {
  EXPECT_EQ(safeLines("a\x1b\r\n\nb\r\n"), "a\\x1b\r\n\\nb\r\n");
  EXPECT_EQ(safeLines(""), "");
}

TEST(SafeJson, EscapesTerminalControls) {
  EXPECT_EQ(safeJson("\"a\u202e\x7f\u009b\""), "\"a\\u202e\\u007f\\u009b\"");
}

TEST(SafeJson, EscapesSupplementaryCharactersAsSurrogates) {
  EXPECT_EQ(safeJson("\"\U000E0041\""), "\"\\udb40\\udc41\"");
}

TEST(SafeJson, LeavesPrintableTextUnchanged) { EXPECT_EQ(safeJson("\"é日😀\""), "\"é日😀\""); }

TEST(DisplayWidth, CountsTerminalColumns) {
  EXPECT_EQ(displayWidth("abc"), 3U);
  EXPECT_EQ(displayWidth("é"), 1U);
  EXPECT_EQ(displayWidth("日本"), 4U);
  EXPECT_EQ(displayWidth("e\u0301"), 1U);
  EXPECT_EQ(displayWidth(""), 0U);
}
