#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/tools/PhoneFixture.h"

namespace {

using test::Finished;
using testing::HasSubstr;
using testing::Not;

/// A phonebook filled by pushes over the radio.
class Book : public test::PhoneFixture {
 protected:
  void fill(const std::vector<std::string>& cards) {
    startReceivingPhone();
    const auto watch = startWatch({"--json"});
    pushAndWaitFor(*watch, cards);
    const Finished accepted = phonectl({"accept"});
    ASSERT_EQ(accepted.exitCode, 0) << accepted.err;
  }

  nlohmann::json list() { return nlohmann::json::parse(phonectl({"book", "list", "--json"}).out); }
};

}  // namespace

TEST_F(Book, ReportsAnEmptyPhonebook) {
  startPhone();
  EXPECT_EQ(phonectl({"book", "list", "--json"}).out, "[]\n");
  const Finished finished = phonectl({"book", "list"});
  EXPECT_EQ(finished.exitCode, 0);
  EXPECT_EQ(finished.out, "");
  EXPECT_THAT(finished.err, HasSubstr("the phonebook is empty"));
}

TEST_F(Book, ListsIdNameAndNumbers) {
  fill({card("Berg", "TEL;CELL:5\r\nTEL;WORK;PREF:6\r\n"), card("Dahl")});
  EXPECT_EQ(phonectl({"book", "list"}).out,
            "ID  NAME        NUMBERS\n"
            "1   Berg, Test  office 6*, mobile 5\n"
            "2   Dahl, Test\n");
}

TEST_F(Book, ListsEveryColumnAsJson) {
  fill({card("Berg", "TEL;CELL:5\r\nEMAIL:b@example.org\r\nORG:A&B\r\n")});
  const nlohmann::json entries = list();
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0].at("Id"), "1");
  EXPECT_EQ(entries[0].at("Surname"), "Berg");
  EXPECT_EQ(entries[0].at("Mobile"), "5");
  EXPECT_EQ(entries[0].at("Company"), "A&B");
  EXPECT_EQ(entries[0].at("Picture"), "");
}

TEST_F(Book, PrintsOneJsonObjectPerLine) {
  fill({card("Berg"), card("Dahl")});
  const std::string out = phonectl({"book", "list", "--json"}).out;
  EXPECT_EQ(test::occurrences(out, "\n"), 4);
  EXPECT_THAT(out, HasSubstr("\n{\"Id\":\"1\",\"Surname\":\"Berg\","));
}

TEST_F(Book, ShowsAnEntryByItsIdOrName) {
  fill({card("Berg", "TEL;HOME:7\r\nADR:;;Street 1;Town;;12;\r\n"), card("Dahl")});
  const std::string shown =
      "name       Berg, Test\n"
      "private    7  (default)\n"
      "address    Street 1, Town, 12\n"
      "id         1\n";
  EXPECT_EQ(phonectl({"book", "show", "1"}).out, shown);
  EXPECT_EQ(phonectl({"book", "show", "berg"}).out, shown);
  EXPECT_EQ(phonectl({"book", "show", "Test Berg"}).out, shown);
}

TEST_F(Book, ShowsAnEntryAsJson) {
  fill({card("Berg")});
  const Finished finished = phonectl({"book", "show", "Berg", "--json"});
  EXPECT_EQ(finished.exitCode, 0);
  EXPECT_EQ(nlohmann::json::parse(finished.out).at("Surname"), "Berg");
}

TEST_F(Book, ListsTheEntriesOfAnAmbiguousName) {
  fill({card("Berg"), card("Dahl")});
  const Finished finished = phonectl({"book", "show", "test"});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_EQ(finished.out, "");
  EXPECT_THAT(finished.err, HasSubstr("2 entries have that name"));
  EXPECT_THAT(finished.err, HasSubstr("1   Berg, Test"));
  EXPECT_THAT(finished.err, HasSubstr("2   Dahl, Test"));
}

TEST_F(Book, FailsForAnUnknownEntry) {
  startPhone();
  for (const char* which : {"Nobody", "7", "99999999999999999999", "a\x1b"}) {
    const Finished finished = phonectl({"book", "show", which});
    EXPECT_EQ(finished.exitCode, 1);
    EXPECT_THAT(finished.err, HasSubstr(". List all entries with: phonectl book list"));
    EXPECT_THAT(finished.err, Not(HasSubstr("\x1b")));
  }
}

TEST_F(Book, FindsANameThatIsANumber) {
  fill({card("4711")});
  EXPECT_THAT(phonectl({"book", "show", "4711"}).out, HasSubstr("name       4711, Test\n"));
}

TEST_F(Book, EscapesControlCharacters) {
  fill({card("\x1b[31m\xff", "TEL;CELL:\x1b]0;t\x07\xff\r\n")});
  for (const std::string& out :
       {phonectl({"book", "list"}).out, phonectl({"book", "show", "1"}).out,
        phonectl({"book", "list", "--json"}).out}) {
    EXPECT_THAT(out, Not(HasSubstr("\x1b")));
    EXPECT_THAT(out, Not(HasSubstr("\x07")));
    EXPECT_THAT(out, Not(HasSubstr("\xff")));
  }
  EXPECT_EQ(list()[0].at("Mobile"), "\x1b]0;t\x07\uFFFD");
}
