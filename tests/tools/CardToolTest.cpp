#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/tools/Program.h"
#include "tests/tools/Terminal.h"

namespace {

using test::contentsOf;
using test::Finished;
using testing::HasSubstr;
using testing::Not;

const std::string kDemo = std::string(TEST_DATA) + "/demo/";
const std::string kHead =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?><Schema name=\"PhoneBook\"><ReasonForMessage>"
    "write_request</ReasonForMessage><Entry>";
const std::string kTail = "<Group>0</Group></Entry></Schema>\n";

class CardTool : public testing::Test {
 protected:
  /// `cardtool read - OPTIONS` of this text.
  Finished read(const std::string& card, const test::Program::Words& options = {}) const {
    return run(card, "-", options);
  }
  Finished readFile(const std::string& path, const test::Program::Words& options = {}) const {
    return run("", path, options);
  }
  /// A card with these lines.
  static std::string cardOf(const std::string& lines) {
    return "BEGIN:VCARD\n" + lines + "END:VCARD\n";
  }
  static std::string photoOf(const std::string& name) {
    return cardOf("N:" + name + "\nPHOTO;TYPE=JPEG;ENCODING=BASE64:QUJD\n\n");
  }
  std::string makePhotoFolder() const {
    std::filesystem::create_directory(m_folder.file("photos"));
    return m_folder.file("photos");
  }
  const test::TestFolder m_folder;

 private:
  static Finished run(const std::string& input, const std::string& file,
                      const test::Program::Words& options) {
    test::Program::Words words{CARDTOOL, "read", file};
    words.insert(words.end(), options.begin(), options.end());
    return test::runProgram(words, {.input = input});
  }
};

}  // namespace

TEST_F(CardTool, PrintsTheMessageAndALineEnd) {
  const Finished finished = read(cardOf("N:Doe;John\nTEL:123\n"));
  EXPECT_EQ(finished.exitCode, 0);
  EXPECT_EQ(finished.out,
            kHead +
                "<Surname>Doe</Surname><Firstname>John</Firstname><Office>123</Office>"
                "<DefaultNumber>1</DefaultNumber>" +
                kTail);
  EXPECT_EQ(finished.err, "");
}

TEST_F(CardTool, ReadsAFile) {
  const Finished finished = readFile(kDemo + "jose.vcf");
  EXPECT_EQ(finished.exitCode, 0) << finished.err;
  EXPECT_THAT(finished.out, HasSubstr("<Surname>Muñoz</Surname><Firstname>José</Firstname>"));
}

TEST_F(CardTool, WritesThePictureUnchanged) {
  const std::string photos = makePhotoFolder();
  const Finished finished = readFile(kDemo + "anna.vcf", {"--photos", photos});
  EXPECT_EQ(finished.exitCode, 0) << finished.err;
  EXPECT_EQ(contentsOf(photos + "/photoBergAnna.jpg"), contentsOf(kDemo + "portrait.jpg"));
  EXPECT_THAT(finished.err, HasSubstr("picture written to " + photos + "/photoBergAnna.jpg"));
}

TEST_F(CardTool, DiscardsPicturesWithoutAFolder) {
  const Finished finished = readFile(kDemo + "anna.vcf");
  EXPECT_EQ(finished.exitCode, 0) << finished.err;
  EXPECT_THAT(finished.out, HasSubstr("<Picture>photoBergAnna.jpg</Picture>"));
  EXPECT_EQ(finished.err, "");
}

TEST_F(CardTool, KeepsADifferentPictureOfTheSameName) {
  const std::string photos = makePhotoFolder();
  m_folder.write("photos/photoDoeJ.jpg", "older");
  EXPECT_EQ(read(photoOf("Doe;J"), {"--photos", photos}).exitCode, 0);
  EXPECT_EQ(contentsOf(photos + "/photoDoeJ.jpg"), "ABC");
  EXPECT_EQ(contentsOf(photos + "/photoDoeJ.jpg~"), "older");
}

TEST_F(CardTool, CreatesSubfoldersOfTheFolder) {
  const std::string photos = makePhotoFolder();
  EXPECT_EQ(read(photoOf("Foo A/S;J"), {"--photos", photos}).exitCode, 0);
  EXPECT_EQ(contentsOf(photos + "/photoFoo A/SJ.jpg"), "ABC");
}

TEST_F(CardTool, WritesNoPictureOutsideOfTheFolder) {
  const std::string photos = makePhotoFolder();
  const Finished finished = read(photoOf("a/../../evil;x"), {"--photos", photos});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_THAT(finished.err, HasSubstr("its picture can't be stored"));
  EXPECT_TRUE(std::filesystem::is_empty(photos));
  EXPECT_FALSE(std::filesystem::exists(m_folder.file("evilx.jpg")));
}

TEST_F(CardTool, FollowsNoLinkOutOfTheFolder) {
  const std::string photos = makePhotoFolder();
  std::filesystem::create_directory(m_folder.file("outside"));
  std::filesystem::create_symlink(m_folder.file("outside"), photos + "/photolink");
  const Finished finished = read(photoOf("link/evil;x"), {"--photos", photos});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_TRUE(std::filesystem::is_empty(m_folder.file("outside")));
}

TEST_F(CardTool, AcceptsALinkToTheFolder) {
  const std::string photos = makePhotoFolder();
  std::filesystem::create_symlink(photos, m_folder.file("link"));
  EXPECT_EQ(read(photoOf("Doe;J"), {"--photos", m_folder.file("link") + "/"}).exitCode, 0);
  EXPECT_EQ(contentsOf(photos + "/photoDoeJ.jpg"), "ABC");
}

TEST_F(CardTool, ReportsACardWithoutFields) {
  for (const std::string& input : {std::string("garbage"), std::string(), cardOf("")}) {
    const Finished finished = read(input);
    EXPECT_EQ(finished.exitCode, 0);
    EXPECT_EQ(finished.out, kHead + kTail);
    EXPECT_THAT(finished.err, HasSubstr("the card has no known field"));
  }
}

TEST_F(CardTool, ReportsATruncatedField) {
  const Finished finished = read(cardOf("N;CHARSET=UTF-8:5 \u20ac;x\n"));
  EXPECT_EQ(finished.exitCode, 0);
  EXPECT_EQ(finished.out, kHead + "<Surname>5 \xe2\x82</Surname>" + kTail);
  EXPECT_THAT(finished.err, HasSubstr("1 field(s) truncated"));
}

TEST_F(CardTool, PrintsControlCharactersUnchanged) {
  EXPECT_THAT(read(cardOf("N:\x1b[31m;x\n")).out, HasSubstr("<Surname>\x1b[31m</Surname>"));
}

TEST_F(CardTool, EscapesControlCharactersInATerminal) {
  test::Terminal terminal;
  const std::string card = m_folder.write("card.vcf", cardOf("N:\x1b[31mred;x\n"));
  test::Program program(m_folder, "cardtool", {CARDTOOL, "read", card},
                        {.terminal = terminal.name()});
  EXPECT_EQ(program.wait(), 0);
  EXPECT_TRUE(terminal.waitFor("<Surname>\\x1b[31mred</Surname>")) << terminal.screen();
  EXPECT_THAT(terminal.screen(), Not(HasSubstr("\x1b")));
}

TEST_F(CardTool, ReportsWhyACardIsUnreadable) {
  const Finished finished = read("N:Doe;John\n");
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_EQ(finished.out, "");
  EXPECT_EQ(finished.err,
            "cardtool: can't read this card: property N is outside of BEGIN:VCARD and "
            "END:VCARD\n");
}

TEST_F(CardTool, EscapesControlCharactersInErrors) {
  const Finished finished = read("\x1b[31m\u202e:x\n");
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_THAT(finished.err, HasSubstr("\\x1b[31m\\u202e"));
}

TEST_F(CardTool, RejectsAMissingFile) {
  const Finished finished = readFile(m_folder.file("missing.vcf"));
  EXPECT_EQ(finished.exitCode, 3);
  EXPECT_THAT(finished.err, HasSubstr("missing.vcf: can't be opened: No such file"));
}

TEST_F(CardTool, RejectsAFolder) {
  const Finished finished = readFile(m_folder.path());
  EXPECT_EQ(finished.exitCode, 3);
  EXPECT_THAT(finished.err, HasSubstr("can't be read: Is a directory"));
}

TEST_F(CardTool, RejectsAnInvalidPhotoFolder) {
  for (const std::string& folder : {m_folder.file("missing"), m_folder.write("file", "x")}) {
    const Finished finished = read(cardOf("N:x\n"), {"--photos", folder});
    EXPECT_EQ(finished.exitCode, 3);
    EXPECT_EQ(finished.out, "");
    EXPECT_THAT(finished.err, HasSubstr("no such folder"));
  }
}

TEST_F(CardTool, LimitsACardToFourMebibytes) {
  const std::string largest = "BEGIN:VCARD\nX:" + std::string((4U << 20) - 14, 'x');
  EXPECT_EQ(read(largest).exitCode, 0);
  const Finished finished = read(largest + "x");
  EXPECT_EQ(finished.exitCode, 3);
  EXPECT_THAT(finished.err, HasSubstr("standard input: larger than 4 MiB"));
}

TEST_F(CardTool, RejectsEndlessInput) { EXPECT_EQ(readFile("/dev/zero").exitCode, 3); }

TEST_F(CardTool, FailsIfTheOutputIsFull) {
  const Finished finished = test::runProgram({CARDTOOL, "read", "-"}, {.outFile = "/dev/full"});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_THAT(finished.err, HasSubstr("can't write to standard output"));
}

TEST_F(CardTool, RejectsAWrongCommandLine) {
  EXPECT_EQ(test::runProgram({CARDTOOL}, {}).exitCode, 2);
  EXPECT_EQ(test::runProgram({CARDTOOL, "read"}, {}).exitCode, 2);
  EXPECT_EQ(test::runProgram({CARDTOOL, "read", "a", "b"}, {}).exitCode, 2);
  EXPECT_EQ(test::runProgram({CARDTOOL, "paint"}, {}).exitCode, 2);
}

TEST_F(CardTool, PrintsHelp) {
  const Finished all = test::runProgram({CARDTOOL, "--help"}, {});
  EXPECT_EQ(all.exitCode, 0);
  EXPECT_THAT(all.out, HasSubstr("read"));
  const Finished read = test::runProgram({CARDTOOL, "read", "--help"}, {});
  EXPECT_EQ(read.exitCode, 0);
  EXPECT_THAT(read.out, HasSubstr("Exit codes: 0 success"));
  EXPECT_THAT(read.out, HasSubstr("4 MiB"));
}
