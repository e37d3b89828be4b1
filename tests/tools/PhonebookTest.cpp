#include "tools/phonectl/Phonebook.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using cards::Card;
using phonectl::cardTable;
using phonectl::isEntryId;
using testing::ElementsAre;

const std::vector<Card> kBook = {
    {.id = "1", .surname = "Berg", .firstname = "Anna", .company = "Fjord AS"},
    {.id = "2", .surname = "Muñoz", .firstname = "José"},
    {.id = "3", .surname = "Bergmann", .firstname = "Anna"},
    {.id = "4", .surname = "\xff\x1b", .firstname = "Zed"},
};

/// The ids of the matches.
std::string found(const std::string& name) {
  std::string ids;
  for (const Card& card : phonectl::cardsNamed(kBook, name)) ids += card.id;
  return ids;
}

}  // namespace

TEST(EntryId, IsADecimalNumber) {
  for (const char* id : {"1", "007", "999999999999999999"}) EXPECT_TRUE(isEntryId(id)) << id;
  for (const char* text : {"", "-1", "+1", "1x", "0x1", " 1", "9999999999999999999"})
    EXPECT_FALSE(isEntryId(text)) << text;
}

TEST(CardSearch, FindsSurnameFirstNameAndCompany) {
  EXPECT_EQ(found("Muñoz"), "2");
  EXPECT_EQ(found("Zed"), "4");
  EXPECT_EQ(found("Fjord AS"), "1");
}

TEST(CardSearch, FindsAFullNameInEitherOrder) {
  EXPECT_EQ(found("Anna Berg"), "1");
  EXPECT_EQ(found("Berg Anna"), "1");
  EXPECT_EQ(found("Berg, Anna"), "1");
}

TEST(CardSearch, PrefersAnExactMatch) { EXPECT_EQ(found("Berg"), "1"); }

TEST(CardSearch, FindsAPartOfAName) { EXPECT_EQ(found("mann"), "3"); }

TEST(CardSearch, FindsEveryMatch) { EXPECT_EQ(found("anna"), "13"); }

TEST(CardSearch, IgnoresCaseAndUnicodeNormalization) {
  EXPECT_EQ(found("MUÑOZ"), "2");
  EXPECT_EQ(found("Mun\u0303oz"), "2");
}

TEST(CardSearch, FindsNothingWithoutAMatch) {
  EXPECT_EQ(found("Nobody"), "");
  EXPECT_EQ(found(""), "");
}

TEST(CardTable, AlignsColumnsByDisplayWidth) {
  EXPECT_THAT(
      cardTable({{.id = "1", .surname = "日本"}, {.id = "10", .surname = "Muñoz", .mobile = "5"}}),
      ElementsAre("ID  NAME   NUMBERS", "1   日本", "10  Muñoz  mobile 5"));
}

TEST(CardTable, MarksTheDefaultNumber) {
  EXPECT_THAT(
      cardTable({{.id = "1",
                  .surname = "D",
                  .office = "1",
                  .office2 = "2",
                  .mobile = "3",
                  .privateNumber = "4",
                  .defaultNumber = "2"}}),
      ElementsAre("ID  NAME  NUMBERS", "1   D     office 1, office 2 2*, mobile 3, private 4"));
}

TEST(CardTable, EscapesControlCharacters) {
  EXPECT_THAT(cardTable({{.id = "1", .surname = "a\x1b\n", .office = "\x07"}}),
              ElementsAre("ID  NAME     NUMBERS", "1   a\\x1b\\n  office \\x07"));
}
