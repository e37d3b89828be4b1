#include "tools/phonectl/CardSearch.h"

#include <gtest/gtest.h>

namespace {

using cards::Card;

const std::vector<Card> kBook = {
    {.id = "1", .surname = "Berg", .firstname = "Anna", .company = "Fjord AS"},
    {.id = "2", .surname = "Muñoz", .firstname = "José"},
    {.id = "3", .surname = "Bergmann", .firstname = "Anna"},
    {.id = "4", .surname = "\xff\x1b", .firstname = "Zed"},
};

/// The Ids of what is found.
std::string found(const std::string& name) {
  std::string ids;
  for (const Card& card : phonectl::cardsNamed(kBook, name)) ids += card.id;
  return ids;
}

}  // namespace

TEST(CardSearch, FindsASurnameAFirstNameAndACompany) {
  EXPECT_EQ(found("Muñoz"), "2");
  EXPECT_EQ(found("Zed"), "4");
  EXPECT_EQ(found("Fjord AS"), "1");
}

TEST(CardSearch, FindsAWholeNameInEitherOrder) {
  EXPECT_EQ(found("Anna Berg"), "1");
  EXPECT_EQ(found("Berg Anna"), "1");
  EXPECT_EQ(found("Berg, Anna"), "1");
}

TEST(CardSearch, PrefersANameThatIsEqualToOneThatHoldsIt) { EXPECT_EQ(found("Berg"), "1"); }

TEST(CardSearch, FindsAPartOfAName) { EXPECT_EQ(found("mann"), "3"); }

TEST(CardSearch, FindsEveryoneOfThatName) { EXPECT_EQ(found("anna"), "13"); }

TEST(CardSearch, TakesNoNoticeOfCaseOrOfHowAccentsAreWritten) {
  EXPECT_EQ(found("MUÑOZ"), "2");
  EXPECT_EQ(found("Mun\u0303oz"), "2");
}

TEST(CardSearch, FindsNothingForWhatNobodyIsCalled) {
  EXPECT_EQ(found("Nobody"), "");
  EXPECT_EQ(found(""), "");
}
