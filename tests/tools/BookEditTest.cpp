#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/tools/PhoneFixture.h"

namespace {

using test::Finished;
using testing::HasSubstr;

class BookEdit : public test::PhoneFixture {
 protected:
  void SetUp() override {
    PhoneFixture::SetUp();
    startPhone();
    phonectl({"book", "add", "--surname", "Berg", "--mobile", "5", "--company", "Acme"});
    phonectl({"book", "add", "--surname", "Dahl"});
  }
  Finished edit(test::Program::Words options) {
    options.insert(options.begin(), {"book", "edit"});
    return phonectl(options);
  }
  nlohmann::json entry(const std::string& id) {
    return nlohmann::json::parse(phonectl({"book", "show", id, "--json"}).out);
  }
  /// Sends a request with busctl, independent of phonectl.
  Finished askDirectory(const std::string& request) {
    test::Program::Words words = {"busctl",
                                  "--address=" + busAddress(),
                                  "call",
                                  "org.obexphone.Phone",
                                  "/org/obexphone/DirectoryService",
                                  "org.obexphone.DirectoryServiceIfc",
                                  "handleRequest",
                                  "ay",
                                  std::to_string(request.size())};
    for (const char c : request) words.push_back(std::to_string(static_cast<unsigned char>(c)));
    return test::runProgram(words, options());
  }
  void expectRefused(const Finished& finished, int exitCode, const std::string& reason) {
    EXPECT_EQ(finished.exitCode, exitCode) << finished.out;
    EXPECT_THAT(finished.err, HasSubstr(reason));
    EXPECT_EQ(entry("1").at("Mobile"), "5");
  }
};

}  // namespace

TEST_F(BookEdit, ReplacesOnlyTheGivenFields) {
  const auto other = entry("2");
  const Finished edited = edit({"1", "--mobile", "6", "--jobfunction", "A&B <c>"});
  EXPECT_EQ(edited.exitCode, 0) << edited.err;
  EXPECT_EQ(edited.out, "Changed 1: Berg\n");
  EXPECT_EQ(entry("1").at("Mobile"), "6");
  EXPECT_EQ(entry("1").at("JobFunction"), "A&B <c>");
  EXPECT_EQ(entry("1").at("Company"), "Acme");
  EXPECT_EQ(entry("1").at("Group"), "0");
  EXPECT_EQ(entry("2"), other);
}

TEST_F(BookEdit, ClearsAField) {
  EXPECT_EQ(edit({"1", "--company", "", "--mobile", ""}).exitCode, 0);
  EXPECT_EQ(entry("1").at("Company"), "");
  EXPECT_EQ(entry("1").at("Mobile"), "");
}

TEST_F(BookEdit, StoresTheDefaultNumberAsADigit) {
  EXPECT_EQ(edit({"1", "--defaultnumber", "Mobile"}).exitCode, 0);
  EXPECT_EQ(entry("1").at("DefaultNumber"), "3");
  EXPECT_EQ(edit({"1", "--defaultnumber", ""}).exitCode, 0);
  EXPECT_EQ(entry("1").at("DefaultNumber"), "");
}

TEST_F(BookEdit, StoresAPicturePathAsAName) {
  EXPECT_EQ(edit({"1", "--picture", "/data/images/b.jpg"}).exitCode, 0);
  EXPECT_EQ(entry("1").at("Picture"), "b.jpg");
}

TEST_F(BookEdit, RejectsInvalidValues) {
  expectRefused(edit({"1", "--defaultnumber", "Fax"}), 2, "Office, Office2, Mobile or Private");
  expectRefused(edit({"1", "--picture", "/tmp/b.jpg"}), 2, "outside of /data/images");
}

TEST_F(BookEdit, RejectsNoChangeAndNoEntry) {
  expectRefused(edit({"1"}), 2, "nothing to change");
  expectRefused(edit({"Berg", "--mobile", "6"}), 2, "an id is a number");
  expectRefused(edit({"--mobile", "6"}), 2, "required");
  expectRefused(edit({"7", "--mobile", "6"}), 1, "has no entry of that Id");
}

TEST_F(BookEdit, LeavesNoEmptyEntry) {
  const std::string message =
      "<Schema name=\"PhoneBook\"><ReasonForMessage>write_request</ReasonForMessage><Entry>"
      "<Surname>Ek</Surname></Entry></Schema>";
  ASSERT_EQ(askDirectory(message).exitCode, 0);
  const Finished finished = edit({"3", "--surname", ""});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_THAT(finished.err, HasSubstr("would have no value left; delete it instead"));
  EXPECT_EQ(entry("3").at("Surname"), "Ek");
}
