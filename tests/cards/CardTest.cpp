#include "cards/Card.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace {

using cards::Card;
using cards::cardFromMessage;
using cards::cardJson;
using cards::cardLines;
using cards::displayComponents;
using cards::displayName;
using cards::jsonLine;
using testing::Contains;
using testing::ElementsAre;

constexpr const char* kImages = "/data/images";

std::string messageWith(const std::string& fields) {
  return "<?xml version=\"1.0\" encoding=\"utf-8\"?><Schema name=\"PhoneBook\">"
         "<ReasonForMessage>write_request</ReasonForMessage><Entry>" +
         fields + "<Group>0</Group></Entry></Schema>";
}

Card cardOf(const std::string& fields) { return cardFromMessage(messageWith(fields)); }

std::string complaintAbout(const std::string& text) {
  try {
    cardFromMessage(text);
    return "";
  } catch (const std::runtime_error& error) {
    return error.what();
  }
}

}  // namespace

TEST(CardFromMessage, SetsEveryColumn) {
  const Card card = cardOf(
      "<Surname>s</Surname><Firstname>f</Firstname><Office>1</Office><Office2>2</Office2>"
      "<Mobile>3</Mobile><Private>4</Private><Email>e</Email><Address>a</Address>"
      "<Address2>b</Address2><Company>c</Company><JobFunction>j</JobFunction>"
      "<DefaultNumber>3</DefaultNumber><Picture>p.jpg</Picture>");
  const Card expected{"", "s", "f", "1", "2", "3", "4", "e", "a", "b", "c", "j", "3", "p.jpg", "0"};
  EXPECT_EQ(card, expected);
}

TEST(CardFromMessage, ResolvesTheFiveEntities) {
  EXPECT_EQ(cardOf("<Surname>&amp;&lt;&gt;&apos;&quot;</Surname>").surname, "&<>'\"");
}

TEST(CardFromMessage, ResolvesEntitiesOnce) {
  EXPECT_EQ(cardOf("<Surname>&amp;amp;</Surname>").surname, "&amp;");
}

TEST(CardFromMessage, KeepsWhiteSpaceAndLineEnds) {
  EXPECT_EQ(cardOf("<Surname>  a \r\n b\t</Surname>").surname, "  a \r\n b\t");
  EXPECT_EQ(cardOf("<Surname> </Surname>").surname, " ");
}

TEST(CardFromMessage, KeepsControlCharactersAndInvalidUtf8) {
  EXPECT_EQ(cardOf("<Surname>\x1b\x01\xff\xe2\x82</Surname>").surname, "\x1b\x01\xff\xe2\x82");
}

TEST(CardFromMessage, IgnoresTheId) { EXPECT_EQ(cardOf("<Id>7</Id>").id, ""); }

TEST(CardFromMessage, IgnoresUnknownElements) {
  EXPECT_EQ(cardOf("<Nickname>n</Nickname><Surname>s</Surname>").surname, "s");
}

TEST(CardFromMessage, HoldsNothingWithOnlyAGroup) {
  EXPECT_FALSE(cards::holdsAnything(cardOf("")));
  EXPECT_TRUE(cards::holdsAnything(cardOf("<Picture>p</Picture>")));
}

TEST(CardFromMessage, RejectsOtherTexts) {
  EXPECT_NE(complaintAbout(""), "");
  EXPECT_NE(complaintAbout("BEGIN:VCARD"), "");
  EXPECT_NE(complaintAbout("<Schema name=\"PhoneBook\"><Entry>"), "");
  EXPECT_NE(complaintAbout("<Schema name=\"Other\"><Entry></Entry></Schema>"), "");
  EXPECT_NE(complaintAbout("<Schema name=\"PhoneBook\"></Schema>"), "");
}

TEST(CardFromMessage, RejectsTextWithNul) {
  std::string text = messageWith("<Surname>ab</Surname>");
  text[text.find("ab") + 1] = '\0';
  EXPECT_NE(complaintAbout(text), "");
}

TEST(CardJson, ContainsEveryColumn) {
  EXPECT_EQ(jsonLine(cardJson({.id = "7", .surname = "Doe", .group = "0"})),
            R"({"Id":"7","Surname":"Doe","Firstname":"","Office":"","Office2":"","Mobile":"",)"
            R"("Private":"","Email":"","Address":"","Address2":"","Company":"","JobFunction":"",)"
            R"("DefaultNumber":"","Picture":"","Group":"0"})");
}

TEST(CardJson, ContainsTheIdOnlyIfSet) {
  EXPECT_FALSE(cardJson({.surname = "Doe"}).contains("Id"));
}

TEST(CardJson, ParsesBackToTheSameText) {
  const std::string hostile = "\"\\\x1b\n\u202e\u009b😀\x7f";
  const std::string line = jsonLine(cardJson({.surname = hostile}));
  EXPECT_EQ(nlohmann::json::parse(line)["Surname"], hostile);
}

TEST(CardJson, IsOneLineWithoutControlCharacters) {
  const std::string line = jsonLine(cardJson({.surname = "a\nb\rc\x1b\x7f"}));
  EXPECT_TRUE(std::none_of(line.begin(), line.end(),
                           [](char c) { return (c >= 0 && c < ' ') || c == 127; }));
}

TEST(CardJson, ReplacesInvalidUtf8) {
  EXPECT_EQ(nlohmann::json::parse(jsonLine(cardJson({.surname = "a\xff"})))["Surname"], "a\uFFFD");
}

TEST(CardJson, LeavesPrintableTextUnescaped) {
  EXPECT_NE(jsonLine(cardJson({.surname = "Muñoz"})).find("\"Surname\":\"Muñoz\""),
            std::string::npos);
}

TEST(DisplayName, IsSurnameAndFirstName) {
  EXPECT_EQ(displayName({.surname = "Doe", .firstname = "John"}), "Doe, John");
  EXPECT_EQ(displayName({.surname = "Doe"}), "Doe");
  EXPECT_EQ(displayName({.firstname = "John"}), "John");
}

TEST(DisplayName, IsTheCompanyWithoutAName) {
  EXPECT_EQ(displayName({.company = "Acme;Sales"}), "Acme, Sales");
  EXPECT_EQ(displayName({.office = "1"}), "(no name)");
}

TEST(DisplayComponents, JoinsNonEmptyComponents) {
  EXPECT_EQ(displayComponents(";;Street 1;Town;;1234;"), "Street 1, Town, 1234");
  EXPECT_EQ(displayComponents(";;;"), "");
  EXPECT_EQ(displayComponents("plain"), "plain");
}

TEST(CardLines, ShowEverySetField) {
  const Card card{"",    "Doe",  "John", "1",    "2", "3",         "4", "j@example.org",
                  ";;S", ";;S2", "Acme", "Boss", "3", "photo.jpg", "0"};
  EXPECT_THAT(
      cardLines(card, kImages),
      ElementsAre("name       Doe, John", "office     1", "office 2   2", "mobile     3  (default)",
                  "private    4", "e-mail     j@example.org", "company    Acme", "job        Boss",
                  "address    S", "address 2  S2", "photo      /data/images/photo.jpg"));
}

TEST(CardLines, OmitEmptyFields) {
  EXPECT_THAT(cardLines({.surname = "Doe"}, kImages), ElementsAre("name       Doe"));
}

TEST(CardLines, MarkNoNumberForAnUnknownDefault) {
  EXPECT_THAT(cardLines({.surname = "D", .mobile = "3", .defaultNumber = "9"}, kImages),
              Contains("mobile     3"));
}

TEST(CardLines, EscapeControlCharactersInEveryField) {
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

TEST(CardLines, TruncateLongValuesVisibly) {
  const Card card{.surname = std::string(100000, 's'), .office = std::string(100000, '1')};
  for (const std::string& line : cardLines(card, kImages)) {
    EXPECT_LT(line.size(), 300U);
    EXPECT_NE(line.find("... (99800 more bytes)"), std::string::npos) << line;
  }
}
