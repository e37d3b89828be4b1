#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "tests/tools/ImageFile.h"
#include "tests/tools/PhoneFixture.h"
#include "tests/tools/Terminal.h"

namespace {

using test::Finished;
using testing::HasSubstr;

class BookExport : public test::PhoneFixture {
 protected:
  void SetUp() override {
    PhoneFixture::SetUp();
    startPhone();
  }
  void add(test::Program::Words options) {
    options.insert(options.begin(), {"book", "add"});
    ASSERT_EQ(phonectl(options).exitCode, 0);
  }
  Finished write(test::Program::Words options) {
    options.insert(options.begin(), {"book", "export"});
    return phonectl(options);
  }
  /// The card that the phone sends for an entry, made by cardtool.
  std::string sentCard(const std::string& id) {
    const std::string contact = phonectl({"book", "show", id, "--contact"}).out;
    return test::runProgram({CARDTOOL, "write", "-"}, {.input = contact}).out;
  }
  /// All entries without their ids.
  nlohmann::json book() {
    auto entries = nlohmann::json::parse(phonectl({"book", "list", "--json"}).out);
    for (auto& entry : entries) entry.erase("Id");
    return entries;
  }
  void clear() {
    test::Program::Words words = {"book", "delete", "--yes"};
    for (const auto& entry : nlohmann::json::parse(phonectl({"book", "list", "--json"}).out)) {
      words.push_back(entry.at("Id"));
    }
    ASSERT_EQ(phonectl(words).exitCode, 0);
  }
  /// Expects a report that an entry of this company would not be restored.
  void expectReported(const std::string& company, const std::string& problem) {
    add({"--surname", "Berg", "--company", company});
    const Finished finished = write({});
    EXPECT_EQ(finished.exitCode, 1);
    EXPECT_THAT(finished.err, HasSubstr("phonectl: entry 1: " + problem));
    EXPECT_THAT(finished.out, HasSubstr(company));
  }
  std::string out() const { return folder().file("book.vcf"); }
};

}  // namespace

TEST_F(BookExport, WritesTheCardsThatThePhoneSends) {
  add({"--surname", "Berg", "--mobile", "5", "--defaultnumber", "Mobile"});
  add({"--surname", "Muñoz", "--firstname", "José", "--company", "A;B"});
  const Finished finished = write({});
  EXPECT_EQ(finished.exitCode, 0) << finished.err;
  EXPECT_EQ(finished.out, sentCard("1") + sentCard("2"));
  EXPECT_EQ(finished.err, "");
}

TEST_F(BookExport, WritesTheGivenEntriesInOrder) {
  for (const char* name : {"Berg", "Dahl", "Ek"}) add({"--surname", name});
  EXPECT_EQ(write({"3", "1"}).out, sentCard("3") + sentCard("1"));
}

TEST_F(BookExport, RoundTripsThroughImport) {
  add({"--surname",       "Berg",
       "--firstname",     "Anna",
       "--office",        "1",
       "--office2",       "2",
       "--mobile",        "3",
       "--privatenumber", "+49 4",
       "--defaultnumber", "Private",
       "--email",         "a@b",
       "--address",       ";;Street 1;Town;;12;",
       "--address2",      "B 2",
       "--company",       "Acme;Sales",
       "--jobfunction",   "Boss: the \"first\""});
  add({"--surname", "Muñoz", "--firstname", "Łukasz Жук", "--mobile", "7", "--defaultnumber",
       "Mobile"});
  add({"--company", "Only a company & <co>"});
  const auto before = book();
  ASSERT_EQ(write({"--out", out()}).out, "3 cards written to " + out() + "\n");
  clear();
  EXPECT_EQ(phonectl({"book", "import", out()}).out, "3 cards stored.\n");
  EXPECT_EQ(book(), before);
}

TEST_F(BookExport, IncludesThePicture) {
  const test::ImageFile image("export", "JPEG bytes");
  const std::string own = "Export" + std::to_string(::getpid());
  const test::ImageFile imported("photoExport");
  add({"--surname", own, "--picture", image.name()});
  const Finished finished = write({"--out", out()});
  EXPECT_EQ(finished.exitCode, 0) << finished.err;
  clear();
  ASSERT_EQ(phonectl({"book", "import", out()}).exitCode, 0);
  EXPECT_EQ(book()[0].at("Picture"), imported.name());
  EXPECT_EQ(test::contentsOf(imported.path()), "JPEG bytes");
}

TEST_F(BookExport, ReportsAnUnreadablePicture) {
  add({"--surname", "Berg", "--picture", "no such picture.jpg"});
  const Finished finished = write({});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_THAT(finished.out, HasSubstr("N;CHARSET=UTF-8:Berg;;;;\r\n"));
  EXPECT_EQ(finished.err,
            "phonectl: entry 1: picture no such picture.jpg is unreadable or empty; left out\n");
}

TEST_F(BookExport, ReportsATruncatedPicture) {
  const test::ImageFile image("exportLarge", std::string(102401, 'j'));
  add({"--surname", "Berg", "--picture", image.name()});
  const Finished finished = write({"--out", out()});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_THAT(finished.err, HasSubstr("is larger than 102400 bytes; truncated"));
  EXPECT_THAT(test::contentsOf(out()), HasSubstr("PHOTO;ENCODING=BASE64;TYPE=JPEG:"));
}

TEST_F(BookExport, ReportsAFieldThatWouldDiffer) {
  add({"--surname", "Berg; Anna", "--office2", "2"});
  const Finished finished = write({});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_THAT(finished.err, HasSubstr("entry 1: will differ when imported again: Surname, "));
  EXPECT_THAT(finished.err, HasSubstr("Office, Office2"));
}

TEST_F(BookExport, ReportsACharacterThatThePhoneCannotRepresent) {
  expectReported("😀", "will differ when imported again: Company");
}

TEST_F(BookExport, ReportsATextThatBreaksTheCard) {
  expectReported("a\r\nEND:VCARD\r\nBEGIN:VCARD\r\nN:Forged", "can't be imported again");
}

TEST_F(BookExport, ReportsALineBreakInAText) {
  expectReported("a\r\nTITLE:b", "will differ when imported again: ");
}

TEST_F(BookExport, ReportsUnknownIdsAndWritesTheOthers) {
  add({"--surname", "Berg"});
  const Finished finished = write({"7", "1", "--out", out()});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_EQ(finished.err, "phonectl: entry 7: not in the phonebook\n");
  EXPECT_EQ(finished.out, "1 card written to " + out() + "\n");
  EXPECT_EQ(test::contentsOf(out()), sentCard("1"));
}

TEST_F(BookExport, WritesAnEmptyFileForAnEmptyPhonebook) {
  EXPECT_EQ(write({"--out", out()}).out, "0 cards written to " + out() + "\n");
  EXPECT_TRUE(std::filesystem::exists(out()));
}

TEST_F(BookExport, CreatesPrivateFilesAndKeepsTheModeOfOldOnes) {
  const auto mode = [&] {
    struct stat status = {};
    ::stat(out().c_str(), &status);
    return status.st_mode & 0777u;
  };
  write({"--out", out()});
  EXPECT_EQ(mode(), 0600u);
  ::chmod(out().c_str(), 0644);
  write({"--out", out()});
  EXPECT_EQ(mode(), 0644u);
}

TEST_F(BookExport, ReplacesTheTargetOfALink) {
  add({"--surname", "Berg"});
  const std::string real = folder().write("real.vcf", "former");
  std::filesystem::create_symlink(real, out());
  EXPECT_EQ(write({"--out", out()}).exitCode, 0);
  EXPECT_TRUE(std::filesystem::is_symlink(out()));
  EXPECT_EQ(test::contentsOf(real), sentCard("1"));
}

TEST_F(BookExport, KeepsTheOldFileWhenThePhoneIsGone) {
  const std::string file = folder().write("book.vcf", "former");
  stopPhone();
  EXPECT_EQ(write({"--out", file}).exitCode, 3);
  EXPECT_EQ(test::contentsOf(file), "former");
}

TEST_F(BookExport, KeepsOnlyTheOldFileWhenTheDiskIsFull) {
  if (test::runProgram({"unshare", "-m", "true"}, options()).exitCode != 0) {
    GTEST_SKIP() << "mount namespaces are not permitted here";
  }
  const test::ImageFile image("exportFull", std::string(100000, 'j'));
  add({"--surname", "Berg", "--picture", image.name()});
  const std::string place = folder().file("place");
  std::filesystem::create_directory(place);
  const std::string script = "mount -t tmpfs -o size=16k none " + place + " && echo -n former > " +
                             place + "/book.vcf && " + PHONECTL + " book export --out " + place +
                             "/book.vcf; echo exit $?; cat " + place + "/book.vcf; ls -A " + place +
                             " | wc -l";
  const Finished finished = test::runProgram({"unshare", "-m", "sh", "-c", script}, options());
  EXPECT_THAT(finished.err, HasSubstr("book.vcf was not written: "));
  EXPECT_EQ(finished.out, "exit 1\nformer1\n");
}

TEST_F(BookExport, ReportsUnwritableFiles) {
  for (const auto& [path, reason] :
       {std::pair<std::string, std::string>{"/nowhere/book.vcf", "No such file or directory"},
        {folder().path(), "not a regular file"},
        {"/dev/full", "not a regular file"},
        {"", "not a regular file"}}) {
    const Finished finished = write({"--out", path});
    EXPECT_EQ(finished.exitCode, 1) << path;
    EXPECT_THAT(finished.err, HasSubstr(reason)) << path;
  }
}

TEST_F(BookExport, FailsIfTheOutputIsFull) {
  add({"--surname", "Berg"});
  const auto program = startPhonectl({"book", "export"}, {.outFile = "/dev/full"});
  EXPECT_EQ(program->wait(), 1);
  EXPECT_THAT(program->err(), HasSubstr("can't write to standard output: No space left"));
}

TEST_F(BookExport, EscapesControlCharactersInATerminal) {
  add({"--surname", "Berg\x1b[31m"});
  test::Terminal terminal;
  const auto program = startPhonectl({"book", "export"}, {.terminal = terminal.name()});
  EXPECT_EQ(program->wait(), 0) << terminal.screen();
  ASSERT_TRUE(terminal.waitFor("END:VCARD"));
  EXPECT_THAT(terminal.screen(), HasSubstr("Berg\\x1b[31m"));
}

TEST_F(BookExport, RejectsInvalidIds) {
  const Finished finished = write({"Berg"});
  EXPECT_EQ(finished.exitCode, 2);
  EXPECT_THAT(finished.err, HasSubstr("an id is a number"));
}
