#include "cards/CardJson.h"

#include <gtest/gtest.h>

#include <algorithm>

using cards::Card;
using cards::cardJson;
using cards::jsonLine;

TEST(CardJson, GivesEveryColumnUnderItsName) {
  EXPECT_EQ(jsonLine(cardJson({.id = "7", .surname = "Doe", .group = "0"})),
            R"({"Id":"7","Surname":"Doe","Firstname":"","Office":"","Office2":"","Mobile":"",)"
            R"("Private":"","Email":"","Address":"","Address2":"","Company":"","JobFunction":"",)"
            R"("DefaultNumber":"","Picture":"","Group":"0"})");
}

TEST(CardJson, HasAnIdOnlyWhereThereIsOne) {
  EXPECT_FALSE(cardJson({.surname = "Doe"}).contains("Id"));
}

TEST(CardJson, ReadsBackAsTheSameText) {
  const std::string hostile = "\"\\\x1b\n\u202e\u009b😀\x7f";
  const std::string line = jsonLine(cardJson({.surname = hostile}));
  EXPECT_EQ(nlohmann::json::parse(line)["Surname"], hostile);
}

TEST(CardJson, IsOneLineWithoutControlCharacters) {
  const std::string line = jsonLine(cardJson({.surname = "a\nb\rc\x1b\x7f"}));
  EXPECT_TRUE(std::none_of(line.begin(), line.end(),
                           [](char c) { return (c >= 0 && c < ' ') || c == 127; }));
}

TEST(CardJson, ReplacesBytesThatAreNotUtf8) {
  EXPECT_EQ(nlohmann::json::parse(jsonLine(cardJson({.surname = "a\xff"})))["Surname"], "a\uFFFD");
}

TEST(CardJson, KeepsPrintableTextReadable) {
  EXPECT_NE(jsonLine(cardJson({.surname = "Muñoz"})).find("\"Surname\":\"Muñoz\""),
            std::string::npos);
}
