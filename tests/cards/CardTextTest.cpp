#include "cards/CardText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace {

using cards::Card;
using cards::cardLines;
using cards::displayComponents;
using cards::displayName;
using testing::Contains;
using testing::ElementsAre;

constexpr const char* kImages = "/data/images";

}  // namespace

TEST(CardText, NamesACardBySurnameAndFirstName) {
  EXPECT_EQ(displayName({.surname = "Doe", .firstname = "John"}), "Doe, John");
  EXPECT_EQ(displayName({.surname = "Doe"}), "Doe");
  EXPECT_EQ(displayName({.firstname = "John"}), "John");
}

TEST(CardText, NamesACardWithoutANameByItsCompany) {
  EXPECT_EQ(displayName({.company = "Acme;Sales"}), "Acme, Sales");
  EXPECT_EQ(displayName({.office = "1"}), "(no name)");
}

TEST(CardText, JoinsComponentsAndLeavesEmptyOnesOut) {
  EXPECT_EQ(displayComponents(";;Street 1;Town;;1234;"), "Street 1, Town, 1234");
  EXPECT_EQ(displayComponents(";;;"), "");
  EXPECT_EQ(displayComponents("plain"), "plain");
}

TEST(CardText, ShowsEverythingThatTheCardHolds) {
  const Card card{"",    "Doe",  "John", "1",    "2", "3",         "4", "j@example.org",
                  ";;S", ";;S2", "Acme", "Boss", "3", "photo.jpg", "0"};
  EXPECT_THAT(
      cardLines(card, kImages),
      ElementsAre("name       Doe, John", "office     1", "office 2   2", "mobile     3  (default)",
                  "private    4", "e-mail     j@example.org", "company    Acme", "job        Boss",
                  "address    S", "address 2  S2", "photo      /data/images/photo.jpg"));
}

TEST(CardText, LeavesOutWhatTheCardDoesNotHold) {
  EXPECT_THAT(cardLines({.surname = "Doe"}, kImages), ElementsAre("name       Doe"));
}

TEST(CardText, MarksNoNumberWhenTheDefaultIsNone) {
  EXPECT_THAT(cardLines({.surname = "D", .mobile = "3", .defaultNumber = "9"}, kImages),
              Contains("mobile     3"));
}

TEST(CardText, NoFieldCanSteerATerminalOrForgeALine) {
  Card card;
  for (const cards::CardColumn& column : cards::kCardColumns) {
    card.*column.value = "a\x1b[2J\n\u202e\xff";
  }
  for (const std::string& line : cardLines(card, kImages)) {
    EXPECT_TRUE(std::none_of(line.begin(), line.end(), [](char c) { return c >= 0 && c < ' '; }));
    EXPECT_EQ(line.find("\u202e"), std::string::npos) << line;
    EXPECT_EQ(line.find('\xff'), std::string::npos) << line;
  }
}

TEST(CardText, CutsLongValuesAndSaysSo) {
  const Card card{.surname = std::string(100000, 's'), .office = std::string(100000, '1')};
  for (const std::string& line : cardLines(card, kImages)) {
    EXPECT_LT(line.size(), 300U);
    EXPECT_NE(line.find("... (99800 more bytes)"), std::string::npos) << line;
  }
}
