#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/tools/PhoneFixture.h"

namespace {

using test::Finished;
using testing::HasSubstr;

class BookAdd : public test::PhoneFixture {
 protected:
  void SetUp() override {
    PhoneFixture::SetUp();
    startPhone();
  }
  Finished add(test::Program::Words options, const std::string& input = "") {
    options.insert(options.begin(), {"book", "add"});
    return phonectl(options, input);
  }
  void expectRefused(const Finished& finished, int exitCode, const std::string& reason) {
    EXPECT_EQ(finished.exitCode, exitCode) << finished.out;
    EXPECT_THAT(finished.err, HasSubstr(reason));
    EXPECT_EQ(phonectl({"book", "list", "--json"}).out, "[]\n");
  }
};

}  // namespace

TEST_F(BookAdd, AddsTheEntryOfTheOptions) {
  const Finished added = add({"--surname", "Berg", "--firstname", "Anna", "--mobile", "5",
                              "--company", "A&B <c>", "--defaultnumber", "Mobile"});
  EXPECT_EQ(added.exitCode, 0) << added.err;
  EXPECT_EQ(added.out, "Added as 1: Berg, Anna\n");
  const auto entry = nlohmann::json::parse(phonectl({"book", "show", "1", "--json"}).out);
  EXPECT_EQ(entry.at("Surname"), "Berg");
  EXPECT_EQ(entry.at("Company"), "A&B <c>");
  EXPECT_EQ(entry.at("DefaultNumber"), "3");
  EXPECT_EQ(entry.at("Group"), "0");
}

TEST_F(BookAdd, AddsTheContactPrintedByShow) {
  const std::string contact =
      R"({"firstname":"a","surname":"b","defaultnumber":"Private","office":"1","office2":"2",)"
      R"("mobile":"3","privatenumber":"4","email":"e","address":"f","address2":"g",)"
      R"("company":"c","jobfunction":"j","picture":"p.jpg"})"
      "\n";
  EXPECT_EQ(add({"--json", "-"}, contact).exitCode, 0);
  EXPECT_EQ(phonectl({"book", "show", "1", "--contact"}).out, contact);
}

TEST_F(BookAdd, AddsNoEntryTwice) {
  ASSERT_EQ(add({"--surname", "Berg", "--mobile", "5", "--email", "e"}).exitCode, 0);
  const Finished again = add({"--surname", "Berg", "--mobile", "5", "--email", "e"});
  EXPECT_EQ(again.exitCode, 0);
  EXPECT_EQ(again.out, "Entry exists already as 1: Berg\n");
  EXPECT_EQ(add({"--surname", "Berg", "--mobile", "6"}).out, "Added as 2: Berg\n");
}

TEST_F(BookAdd, FailsIfAnExistingEntryDiffers) {
  ASSERT_EQ(add({"--surname", "Berg", "--email", "old"}).exitCode, 0);
  const Finished other = add({"--surname", "Berg", "--email", "new"});
  EXPECT_EQ(other.exitCode, 1);
  EXPECT_EQ(other.out, "");
  EXPECT_THAT(other.err, HasSubstr("nothing was added"));
  EXPECT_THAT(other.err, HasSubstr("phonectl book show 1"));
}

TEST_F(BookAdd, AddsContactsWithoutNameAndNumberEachTime) {
  EXPECT_EQ(add({"--company", "Acme"}).out, "Added as 1: Acme\n");
  EXPECT_EQ(add({"--company", "Acme"}).out, "Added as 2: Acme\n");
}

TEST_F(BookAdd, RejectsInvalidEntries) {
  expectRefused(add({}), 2, "the entry is empty");
  expectRefused(add({"--defaultnumber", "Mobile", "--surname", ""}), 2, "the entry is empty");
  expectRefused(add({"--json", "-"}, "{}"), 1, "the entry is empty");
  expectRefused(add({"--surname", "B", "--defaultnumber", "mobile"}), 2, "Office, Office2, Mobile");
  expectRefused(add({"--surname", "B", "--picture", "/tmp/p.jpg"}), 2, "outside of /data/images");
  expectRefused(add({"--json", "-"}, R"({"mobile":5})"), 1, "must be a string");
  expectRefused(add({"--json", "-"}, R"({"surname":"a\u0000b"})"), 1, "the phonebook refused");
  expectRefused(add({"--json", "-", "--surname", "B"}), 2, "excludes");
  expectRefused(add({"--surename", "B"}), 2, "--surename");
}

TEST_F(BookAdd, ReportsTheErrorOfThePhonebook) {
  breakPhonebook();
  const Finished failed = add({"--surname", "Berg"});
  EXPECT_EQ(failed.exitCode, 1);
  EXPECT_THAT(failed.err, HasSubstr("the phonebook refused"));
}
