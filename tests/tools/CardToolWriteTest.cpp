#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/tools/ImageFile.h"
#include "tests/tools/Program.h"
#include "tests/tools/Terminal.h"

namespace {

using test::Finished;
using testing::HasSubstr;
using testing::Not;

const std::string kEmptyCard = "BEGIN:VCARD\r\nVERSION: 2.1\r\nEND:VCARD\r\n";

class CardToolWrite : public testing::Test {
 protected:
  static Finished write(const std::string& json) {
    return test::runProgram({CARDTOOL, "write", "-"}, {.input = json});
  }
  static void expectCard(const std::string& json, const std::string& lines) {
    const Finished finished = write(json);
    EXPECT_EQ(finished.exitCode, 0);
    EXPECT_EQ(finished.out, "BEGIN:VCARD\r\nVERSION: 2.1\r\n" + lines + "END:VCARD\r\n");
    EXPECT_EQ(finished.err, "");
  }
  static void expectRefused(const std::string& json, const std::string& reason) {
    const Finished finished = write(json);
    EXPECT_EQ(finished.exitCode, 1);
    EXPECT_EQ(finished.out, "");
    EXPECT_THAT(finished.err, HasSubstr("cardtool: standard input: " + reason));
  }

  const test::TestFolder m_folder;
};

}  // namespace

TEST_F(CardToolWrite, PrintsThreeLinesForAnEmptyContact) {
  expectCard("{}", "");
  expectCard(R"({"firstname":"","surname":"","defaultnumber":"","office":"","office2":"",)"
             R"("mobile":"","privatenumber":"","email":"","address":"","address2":"",)"
             R"("company":"","jobfunction":"","picture":""})",
             "");
}

TEST_F(CardToolWrite, PrintsEveryField) {
  expectCard(R"({"firstname":"Anna","surname":"Berg","defaultnumber":"Mobile","office":"1",)"
             R"("office2":"2","mobile":"3","privatenumber":"4","email":"a@b","address":"A 1",)"
             R"("address2":"B 2","company":"C","jobfunction":"J"})",
             "N;CHARSET=UTF-8:Berg;Anna;;;\r\nTEL;VOICE;WORK:1\r\nTEL;VOICE;WORK:2\r\n"
             "TEL;VOICE;CELL;PREF:3\r\nTEL;VOICE;HOME:4\r\nADR;CHARSET=UTF-8:A 1\r\n"
             "ADR;CHARSET=UTF-8:B 2\r\nEMAIL;INTERNET;CHARSET=UTF-8:a@b\r\n"
             "ORG;CHARSET=UTF-8:C\r\nTITLE;CHARSET=UTF-8:J\r\n");
}

TEST_F(CardToolWrite, ReadsAFile) {
  const std::string file = m_folder.write("c.json", R"({"surname":"Mu\u00f1oz"})");
  const Finished finished = test::runProgram({CARDTOOL, "write", file}, {});
  EXPECT_THAT(finished.out, HasSubstr("N;CHARSET=UTF-8:Mu\u00f1oz;;;;\r\n"));
}

TEST_F(CardToolWrite, IncludesThePicture) {
  const test::ImageFile picture("cardtoolwrite", "ABC");
  expectCard(R"({"picture":")" + picture.name() + "\"}",
             "PHOTO;ENCODING=BASE64;TYPE=JPEG:QUJD\r\n\n");
}

TEST_F(CardToolWrite, ReportsAMissingPicture) {
  const Finished finished = write(R"({"picture":"no such\u001b.jpg"})");
  EXPECT_EQ(finished.exitCode, 0);
  EXPECT_EQ(finished.out, kEmptyCard);
  EXPECT_THAT(finished.err, HasSubstr("the picture no such\\x1b.jpg is unreadable or empty"));
}

TEST_F(CardToolWrite, RejectsInvalidContacts) {
  expectRefused("", "not valid JSON");
  expectRefused("[]", "a contact must be a JSON object, not array");
  expectRefused(R"({"Surname":"x"})", "unknown field \"Surname\"");
  expectRefused(R"({"mobile":5})", "the field \"mobile\" must be a string, not number");
}

TEST_F(CardToolWrite, RejectsUnusableFiles) {
  for (const std::string& file : {m_folder.file("none.json"), m_folder.path()}) {
    const Finished finished = test::runProgram({CARDTOOL, "write", file}, {});
    EXPECT_EQ(finished.exitCode, 3);
    EXPECT_THAT(finished.err, HasSubstr("cardtool: " + file + ": can't be "));
  }
}

TEST_F(CardToolWrite, EscapesControlCharactersInATerminal) {
  test::Terminal terminal;
  const std::string file = m_folder.write("c.json", R"({"surname":"\u001b[31mred"})");
  test::Program program(m_folder, "write", {CARDTOOL, "write", file},
                        {.terminal = terminal.name()});
  EXPECT_TRUE(terminal.waitFor("END:VCARD"));
  EXPECT_THAT(terminal.screen(), HasSubstr("N;CHARSET=UTF-8:\\x1b[31mred;;;;"));
  EXPECT_THAT(terminal.screen(), Not(HasSubstr("\x1b")));
}

TEST_F(CardToolWrite, PrintsBytesUnchangedElsewhere) {
  EXPECT_THAT(write(R"({"surname":"\u001b[31m\nx"})").out,
              HasSubstr("N;CHARSET=UTF-8:\x1b[31m\nx;;;;\r\n"));
}

TEST_F(CardToolWrite, FailsIfTheOutputIsFull) {
  const Finished finished =
      test::runProgram({CARDTOOL, "write", "-"}, {.input = "{}", .outFile = "/dev/full"});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_THAT(finished.err, HasSubstr("can't write to standard output"));
}

TEST_F(CardToolWrite, PrintsHelp) {
  const Finished help = test::runProgram({CARDTOOL, "write", "--help"}, {});
  EXPECT_EQ(help.exitCode, 0);
  EXPECT_THAT(help.out, HasSubstr("firstname, surname, defaultnumber, office"));
  EXPECT_EQ(test::runProgram({CARDTOOL, "write"}, {}).exitCode, 2);
}
