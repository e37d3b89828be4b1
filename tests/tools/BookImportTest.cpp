#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>

#include "tests/tools/ImageFile.h"
#include "tests/tools/PhoneFixture.h"
#include "tests/tools/Terminal.h"

namespace {

using test::Finished;
using testing::HasSubstr;
using testing::Not;

class BookImport : public test::PhoneFixture {
 protected:
  void SetUp() override {
    PhoneFixture::SetUp();
    startPhone();
  }
  /// Imports a file with this text.
  Finished import(const std::string& text) {
    return phonectl({"book", "import", folder().write("cards.vcf", text)});
  }
  /// A place in that file, as messages name it.
  std::string place(int line, int card) const {
    return "phonectl: " + folder().file("cards.vcf") + ", line " + std::to_string(line) +
           ", card " + std::to_string(card);
  }
  std::string list() { return phonectl({"book", "list"}).out; }
};

}  // namespace

TEST_F(BookImport, StoresEveryCardOfAFile) {
  const Finished finished = import(card("Berg", "TEL;CELL:5\r\n") + card("Dahl") + card("Ek"));
  EXPECT_EQ(finished.exitCode, 0) << finished.err;
  EXPECT_EQ(finished.out, "3 cards stored.\n");
  EXPECT_EQ(finished.err, "");
  EXPECT_EQ(list(),
            "ID  NAME        NUMBERS\n"
            "1   Berg, Test  mobile 5*\n"
            "2   Dahl, Test\n"
            "3   Ek, Test\n");
}

TEST_F(BookImport, MixesNoFieldsOfTwoCards) {
  EXPECT_EQ(import(card("Berg", "EMAIL:b@example.org\r\n") + card("Dahl")).exitCode, 0);
  EXPECT_THAT(phonectl({"book", "show", "Dahl"}).out, Not(HasSubstr("example.org")));
}

TEST_F(BookImport, ReadsSeveralFilesAndStandardInput) {
  const std::string first = folder().write("a.vcf", card("Berg"));
  const Finished finished = phonectl({"book", "import", first, "-"}, card("Dahl"));
  EXPECT_EQ(finished.exitCode, 0) << finished.err;
  EXPECT_EQ(finished.out, "2 cards stored.\n");
}

TEST_F(BookImport, AcceptsEveryLineEnding) {
  EXPECT_EQ(import("BEGIN:VCARD\nN:Berg\nEND:VCARD\nBEGIN:VCARD\r\nN:Dahl\r\nEND:VCARD\r\n"
                   "BEGIN:VCARD\rN:Ek\rEND:VCARD\r")
                .out,
            "3 cards stored.\n");
  EXPECT_THAT(list(), HasSubstr("3   Ek\n"));
}

TEST_F(BookImport, ReportsExistingEntries) {
  ASSERT_EQ(import(card("Berg")).exitCode, 0);
  const Finished again = import(card("Dahl") + card("Berg", "EMAIL:new\r\n"));
  EXPECT_EQ(again.exitCode, 0);
  EXPECT_EQ(again.out, "1 card stored, 1 existed already.\n");
  EXPECT_EQ(again.err, place(5, 2) + ": entry exists already as 1: Berg, Test\n");
}

TEST_F(BookImport, ReportsEachUnreadableCard) {
  const Finished finished =
      import(card("Berg") + card("Bad", "N;CHARSET=KOI8-R:x\r\n") + card("Dahl"));
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_EQ(finished.out, "2 cards stored, 1 not stored.\n");
  EXPECT_THAT(finished.err, HasSubstr(place(5, 2) + " was not stored: property N "));
  EXPECT_EQ(test::occurrences(finished.err, "\n"), 1);
  EXPECT_THAT(list(), HasSubstr("2   Dahl, Test\n"));
}

TEST_F(BookImport, ReportsTextBetweenCards) {
  const Finished finished = import("hello\n" + card("Berg") + "between\n" + card("Dahl") + "after");
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_EQ(finished.out, "2 cards stored, 3 not stored.\n");
  EXPECT_THAT(finished.err, HasSubstr(place(1, 1) + " was not stored: it has no known field"));
  EXPECT_THAT(finished.err, HasSubstr(place(6, 3) + " was not stored"));
  EXPECT_THAT(finished.err, HasSubstr(place(11, 5) + " was not stored"));
}

TEST_F(BookImport, ReportsACardWithoutFields) {
  const Finished finished = import("BEGIN:VCARD\nNOTE:x\nEND:VCARD\n");
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_THAT(finished.err, HasSubstr("it has no known field"));
  EXPECT_EQ(list(), "");
}

TEST_F(BookImport, StoresACardWithoutEnd) {
  EXPECT_EQ(import("BEGIN:VCARD\nN:Berg\n").out, "1 card stored.\n");
}

TEST_F(BookImport, RejectsCardsWithAMissingEndBetween) {
  const Finished finished =
      import("BEGIN:VCARD\nN:Berg\nBEGIN:VCARD\nN:Dahl\nEND:VCARD\n" + card("Ek"));
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_EQ(finished.out, "1 card stored, 1 not stored.\n");
  EXPECT_THAT(finished.err, HasSubstr("it has 2 BEGIN:VCARD lines"));
}

TEST_F(BookImport, StoresPhotosInTheImagesFolder) {
  const std::string own = "Import" + std::to_string(::getpid());
  const test::ImageFile photo("photoImport");
  ASSERT_EQ(photo.name(), "photo" + own + ".jpg");
  const Finished finished =
      import("BEGIN:VCARD\nN:" + own + "\nPHOTO;TYPE=JPEG;ENCODING=BASE64:QUJD\n\nEND:VCARD\n");
  EXPECT_EQ(finished.exitCode, 0) << finished.err;
  EXPECT_EQ(test::contentsOf(photo.path()), "ABC");
  EXPECT_THAT(phonectl({"book", "show", own}).out, HasSubstr(photo.path()));
}

TEST_F(BookImport, RejectsAPhotoOutsideOfTheImagesFolder) {
  const Finished finished =
      import("BEGIN:VCARD\nN:a/../../evil\nPHOTO;TYPE=JPEG;ENCODING=BASE64:QUJD\n\nEND:VCARD\n");
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_THAT(finished.err, HasSubstr("its picture can't be stored"));
  EXPECT_EQ(list(), "");
}

TEST_F(BookImport, RejectsATooLargeCardAndGoesOn) {
  const std::string note = "NOTE:" + std::string(std::size_t{4} << 20, 'x') + "\r\n";
  const Finished finished = import(card("Large", note) + card("Berg"));
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_EQ(finished.out, "1 card stored, 1 not stored.\n");
  EXPECT_THAT(finished.err, HasSubstr("it is larger than 4 MiB"));
}

TEST_F(BookImport, ReportsUnusableFilesAndGoesOn) {
  const std::string good = folder().write("good.vcf", card("Berg"));
  const std::string blank = folder().write("blank.vcf", " \r\n");
  const Finished finished =
      phonectl({"book", "import", folder().file("none.vcf"), folder().path(), blank, good});
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_EQ(finished.out, "1 card stored, 3 files without a card.\n");
  EXPECT_THAT(finished.err, HasSubstr("none.vcf: can't be opened: No such file"));
  EXPECT_THAT(finished.err, HasSubstr(folder().path() + ": can't be read: Is a directory"));
  EXPECT_THAT(finished.err, HasSubstr("blank.vcf: contains no card"));
}

TEST_F(BookImport, ReportsTheErrorOfThePhonebook) {
  breakPhonebook();
  const Finished finished = import(card("Berg") + card("Dahl"));
  EXPECT_EQ(finished.exitCode, 1);
  EXPECT_EQ(finished.out, "0 cards stored, 2 not stored.\n");
  EXPECT_EQ(test::occurrences(finished.err, "the phonebook refused"), 2);
}

TEST_F(BookImport, EscapesControlCharacters) {
  ASSERT_EQ(import(card("\x1b[31m")).exitCode, 0);
  const Finished again = import(card("\x1b[31m"));
  EXPECT_THAT(again.err, HasSubstr("\\x1b[31m"));
  EXPECT_THAT(again.err, Not(HasSubstr("\x1b")));
}

TEST_F(BookImport, ShowsAProgressBarInATerminal) {
  const std::string file = folder().write("cards.vcf", card("Berg") + card("Dahl") + "x");
  test::Terminal terminal;
  const auto program = startPhonectl({"book", "import", file}, {.terminal = terminal.name()});
  EXPECT_TRUE(terminal.waitFor("[..............................] 0 of 3 cards"));
  EXPECT_TRUE(terminal.waitFor("[####################..........] 2 of 3 cards"));
  EXPECT_TRUE(terminal.waitFor("2 cards stored, 1 not stored."));
  EXPECT_EQ(program->wait(), 1);
  EXPECT_THAT(terminal.screen(), HasSubstr("\x1b[K" + place(9, 3) + " was not stored"));
}

TEST_F(BookImport, ReportsItsProgressOnSigint) {
  std::string cards;
  for (int i = 0; i < 5000; ++i) cards += card("Berg" + std::to_string(i));
  test::Terminal terminal;
  const auto program = startPhonectl({"book", "import", folder().write("cards.vcf", cards)},
                                     {.terminal = terminal.name()});
  ASSERT_TRUE(terminal.waitFor("] 3 of 5000 cards"));
  program->signal(SIGINT);
  EXPECT_EQ(program->wait(), 128 + SIGINT);
  EXPECT_TRUE(terminal.waitFor("the import is incomplete: "));
}

TEST_F(BookImport, ReportsItsProgressWhenThePhoneGoesAway) {
  std::string cards;
  for (int i = 0; i < 5000; ++i) cards += card("Berg" + std::to_string(i));
  test::Terminal terminal;
  const auto program = startPhonectl({"book", "import", folder().write("cards.vcf", cards)},
                                     {.terminal = terminal.name()});
  ASSERT_TRUE(terminal.waitFor("] 3 of 5000 cards"));
  killPhone();
  const int exitCode = program->wait();
  EXPECT_TRUE(exitCode == 3 || exitCode == 4) << exitCode;
  EXPECT_TRUE(terminal.waitFor("the import is incomplete: "));
}
