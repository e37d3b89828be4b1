#include "tools/phonectl/PhoneObserver.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace {

using phonectl::Outcome;

const std::string kJohn =
    "<Schema name=\"PhoneBook\"><ReasonForMessage>write_request</ReasonForMessage><Entry>"
    "<Surname>Doe</Surname><Firstname>John</Firstname><Group>0</Group></Entry></Schema>";

}  // namespace

TEST(Outcome, NamesOneStoredCard) {
  EXPECT_EQ(Outcome(true, 1, kJohn).sentence(), "1 card stored: Doe, John.");
}

TEST(Outcome, NamesTheFirstOfSeveralStoredCards) {
  EXPECT_EQ(Outcome(true, 2, kJohn).sentence(), "2 cards stored, the first is Doe, John.");
}

TEST(Outcome, ReportsThatNoCardWasWaiting) {
  EXPECT_EQ(Outcome(true, 0, "").sentence(), "No card was waiting; nothing was stored.");
}

TEST(Outcome, ReportsAFailureAndWhatToDo) {
  const std::string one = Outcome(false, 1, kJohn).sentence();
  EXPECT_EQ(one.find("1 card could not be stored: Doe, John."), 0U) << one;
  const std::string many = Outcome(false, 3, kJohn).sentence();
  EXPECT_EQ(many.find("Not all of 3 cards could be stored, the first is Doe, John."), 0U) << many;
  EXPECT_NE(many.find("sent again"), std::string::npos);
}

TEST(Outcome, ReportsAnUnreadableCard) {
  EXPECT_EQ(Outcome(true, 1, "\x1bnonsense").sentence(), "1 card stored: (unreadable card).");
}

TEST(Outcome, IsAJsonEvent) {
  EXPECT_EQ(cards::jsonLine(Outcome(true, 0, "").json()), R"({"event":"received","count":0})");
  const auto stored = Outcome(true, 2, kJohn).json();
  EXPECT_EQ(stored["event"], "received");
  EXPECT_EQ(stored["count"], 2);
  EXPECT_EQ(stored["first"]["Surname"], "Doe");
  const auto failed = Outcome(false, 2, kJohn).json();
  EXPECT_EQ(failed["event"], "error");
  EXPECT_EQ(failed["reason"], "not stored");
  EXPECT_EQ(failed["first"]["Surname"], "Doe");
}
