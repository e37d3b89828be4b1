#include "cards/VCardSplitter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using cards::CardSlice;
using cards::splitCards;
using testing::ElementsAre;

std::vector<std::string> textsIn(std::string_view text) {
  std::vector<std::string> texts;
  for (const CardSlice& card : splitCards(text)) texts.emplace_back(card.text);
  return texts;
}

std::vector<std::size_t> linesIn(std::string_view text) {
  std::vector<std::size_t> lines;
  for (const CardSlice& card : splitCards(text)) lines.push_back(card.line);
  return lines;
}

const std::string kA = "BEGIN:VCARD\nN:A\nEND:VCARD\n";
const std::string kB = "BEGIN:VCARD\r\nN:B\r\nEND:VCARD\r\n";
const std::string kC = "BEGIN:VCARD\rN:C\rEND:VCARD\r";

}  // namespace

TEST(VCardSplitter, SplitsAfterEachEnd) { EXPECT_THAT(textsIn(kA + kA), ElementsAre(kA, kA)); }

TEST(VCardSplitter, AcceptsEveryLineEnding) {
  EXPECT_THAT(textsIn(kA + kB + kC + kB), ElementsAre(kA, kB, kC, kB));
}

TEST(VCardSplitter, IgnoresCase) {
  EXPECT_THAT(textsIn("begin:vcard\nend:vCard\nEnd:Vcard\n"),
              ElementsAre("begin:vcard\nend:vCard\n", "End:Vcard\n"));
}

TEST(VCardSplitter, AcceptsAnEndWithWhiteSpaceGroupOrParameters) {
  for (const char* end : {"END:VCARD \n", "END : VCARD\t\n", "a.END:VCARD\n", "END;X=1:VCARD\n",
                          "END:VC\n ARD\n", "EN\n\tD:VCARD\n"}) {
    const std::string card = std::string("BEGIN:VCARD\n") + end;
    EXPECT_THAT(textsIn(card + kA), ElementsAre(card, kA)) << end;
  }
}

TEST(VCardSplitter, IgnoresContinuationLines) {
  for (const char* line : {"NOTE:x\n END:VCARD\n", "NOTE:x\r\n\tEND:VCARD\r\n", "N:\r END:VCARD\r",
                           "NOTE:x\n y\n END:VCARD\n"}) {
    const std::string card = std::string("BEGIN:VCARD\n") + line + "END:VCARD\n";
    EXPECT_THAT(textsIn(card), ElementsAre(card)) << line;
  }
}

TEST(VCardSplitter, IgnoresOtherLines) {
  for (const char* line : {"END:VCALENDAR\n", "X-END:VCARD\n", "END;VCARD\n", "NOTE:END:VCARD\n",
                           "END:VCARD2\n", "END\n", "\n END:VCARD\n"}) {
    const std::string card = std::string("BEGIN:VCARD\n") + line + "END:VCARD\n";
    EXPECT_THAT(textsIn(card), ElementsAre(card)) << line;
  }
}

TEST(VCardSplitter, KeepsTextAfterTheLastEnd) {
  EXPECT_THAT(textsIn(kA + "BEGIN:VCARD\nN:B"), ElementsAre(kA, "BEGIN:VCARD\nN:B"));
  EXPECT_THAT(textsIn(kA + "x"), ElementsAre(kA, "x"));
}

TEST(VCardSplitter, KeepsTextBeforeAndBetweenCards) {
  EXPECT_THAT(textsIn("hello\n" + kA + "N:x\n y\n" + kB),
              ElementsAre("hello\n", kA, "N:x\n y\n", kB));
}

TEST(VCardSplitter, AcceptsALastLineWithoutLineEnd) {
  EXPECT_THAT(textsIn("BEGIN:VCARD\nEND:VCARD"), ElementsAre("BEGIN:VCARD\nEND:VCARD"));
}

TEST(VCardSplitter, DropsOnlyWhiteSpace) {
  EXPECT_TRUE(splitCards("").empty());
  EXPECT_TRUE(splitCards(" \r\n\t\n").empty());
  EXPECT_THAT(textsIn("\n\n" + kA + "\r\n \n" + kB + "\n"), ElementsAre(kA, kB));
}

TEST(VCardSplitter, SkipsAByteOrderMark) {
  EXPECT_THAT(textsIn("\xEF\xBB\xBF" + kA), ElementsAre(kA));
}

TEST(VCardSplitter, ReportsTheFirstLineOfEachCard) {
  EXPECT_THAT(linesIn(kA + kB + kC + kA), ElementsAre(1U, 4U, 7U, 10U));
  EXPECT_THAT(linesIn("\n\n" + kA + "\r\n" + kB), ElementsAre(3U, 7U));
  EXPECT_THAT(linesIn("hello\n y\n" + kA), ElementsAre(1U, 3U));
}

TEST(VCardSplitter, CountsBegins) {
  const auto cards = splitCards("BEGIN:VCARD\nN:A\nBEGIN:VCARD\nEND:VCARD\n" + kA + "x\n");
  ASSERT_EQ(cards.size(), 3U);
  EXPECT_EQ(cards[0].begins, 2U);
  EXPECT_EQ(cards[1].begins, 1U);
  EXPECT_EQ(cards[2].begins, 0U);
}
