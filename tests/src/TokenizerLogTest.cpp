// The tokenizer's log lines.

#include "tests/src/TokenizerFixture.h"
#include "tests/support/LogRecorder.h"

namespace test {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::IsEmpty;
using namespace std::string_literals;

/// The log line of one character in one state.
std::string Character(char c, int state) {
  return "\tvcardProcessCharacter char: "s + c +
         ", code of char: " + std::to_string(static_cast<unsigned char>(c)) + ", state " +
         std::to_string(state) + "\n";
}

class TokenizerLogTest : public ::testing::Test {
 protected:
  int Feed(std::string_view text) {
    RecordingParser parser;
    return parser.parse(text);
  }
  /// The log lines without those of single characters.
  std::vector<std::string> Messages(std::string_view text) {
    log.forget();
    Feed(text);
    std::vector<std::string> texts = log.texts();
    std::erase_if(
        texts, [](const std::string& line) { return line.starts_with("\tvcardProcessCharacter"); });
    return texts;
  }

  LogRecorder log;
};

TEST_F(TokenizerLogTest, TracesAWholeReading) {
  EXPECT_EQ(Feed("N;A=b: c\n"), 1);
  EXPECT_THAT(
      log.texts(),
      ElementsAre(Character('\n', 0), Character('N', 0), Character(';', 0), Character('A', 1),
                  Character('=', 2), Character('b', 3), Character(':', 4), Character(' ', 5),
                  "\tParser: StartOfData", Character('c', 5), "\tParser: TERMINATE parsing",
                  Character('\n', 5), "\tParser: Terminate string", "\tParser: Terminate data"));
}

TEST_F(TokenizerLogTest, WritesTracesUnderItsComponentAndSource) {
  Feed("N;BASE64:QUI\n\nA.M;X=y:z\n b\nO;QUOTED-PRINTABLE:=\n=4\nP;BASE64:Q\n");
  ASSERT_FALSE(log.lines().empty());
  EXPECT_THAT(log.lines(), Each(Field(&RecordedLine::component, "VCARD Parser")));
  EXPECT_THAT(log.lines(), Each(Field(&RecordedLine::source, "CARDCAL_Parser")));
  EXPECT_THAT(log.lines(), Each(Field(&RecordedLine::level, 5)));
}

TEST_F(TokenizerLogTest, WritesNothingWithTracingOff) {
  setLogLevel(4);
  EXPECT_EQ(Feed("N: x\nO;QUOTED-PRINTABLE:=\n=4\nP;BASE64:Q\n\n"), 0);
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(TokenizerLogTest, TracesCharacterCodesAsUnsigned) {
  Feed("\xE9");
  EXPECT_TRUE(log.has("\tvcardProcessCharacter char: \xE9, code of char: 233, state 0\n"));
}

TEST_F(TokenizerLogTest, TracesAZeroByte) {
  Feed("\0"s);
  EXPECT_TRUE(log.has("\tvcardProcessCharacter char: \0, code of char: 0, state 0\n"s));
}

TEST_F(TokenizerLogTest, TracesAFoldAsASpace) {
  Feed("N:a\n\tb");
  EXPECT_THAT(log.texts(), ElementsAre(Character('\n', 0), Character('N', 0), Character(':', 0),
                                       Character('a', 5), Character(' ', 5), Character('b', 5),
                                       "\tParser: TERMINATE parsing", Character('\n', 5),
                                       "\tParser: Terminate string", "\tParser: Terminate data"));
}

TEST_F(TokenizerLogTest, TracesEmptyInput) {
  EXPECT_THAT(Messages(""), ElementsAre("\tParser: TERMINATE parsing"));
}

TEST_F(TokenizerLogTest, TracesSkippedWhiteSpaceBeforeTheData) {
  EXPECT_THAT(Messages("N: \t x y"),
              ElementsAre("\tParser: StartOfData", "\tParser: StartOfData", "\tParser: StartOfData",
                          "\tParser: TERMINATE parsing", "\tParser: Terminate string",
                          "\tParser: Terminate data"));
}

TEST_F(TokenizerLogTest, TracesOnlyTheEndWithoutData) {
  EXPECT_THAT(Messages("N:"),
              ElementsAre("\tParser: TERMINATE parsing", "\tParser: Terminate data"));
}

TEST_F(TokenizerLogTest, TracesASoftLineBreak) {
  EXPECT_THAT(Messages("N;QUOTED-PRINTABLE:a=\nb\n"),
              ElementsAre("\tencoding Qp, but got end of line, ignoring this = and continuing",
                          "\tParser: TERMINATE parsing", "\tParser: Terminate string",
                          "\tParser: Terminate data"));
}

TEST_F(TokenizerLogTest, TracesNoSoftLineBreakAfterOneDigit) {
  EXPECT_THAT(Messages("N;QUOTED-PRINTABLE:a=4"),
              ElementsAre("\tParser: TERMINATE parsing", "\tParser: Terminate string",
                          "\tParser: Terminate data"));
}

TEST_F(TokenizerLogTest, TracesTheEmptyLineBehindABlock) {
  EXPECT_THAT(Messages("N;BASE64:QUJD\n\n"),
              ElementsAre("\tParser: It might be ending of Based64 data block...",
                          "\tParser: Terminate string", "\tParser: Terminate data",
                          "\tParser: TERMINATE parsing"));
}

TEST_F(TokenizerLogTest, TracesSuppliedPaddingAsCharacters) {
  Feed("N;BASE64:QQ");
  EXPECT_EQ(log.count(Character('=', 5)), 2);
}

TEST_F(TokenizerLogTest, TracesBrokenBase64) {
  EXPECT_THAT(Messages("N;BASE64:Q*JD"), ElementsAre("\tParser: Base64 format error"));
  EXPECT_THAT(Messages("N;BASE64:QU*D"), ElementsAre("\tParser: Base64 format error"));
  EXPECT_THAT(Messages("N;BASE64:QUJ*"), ElementsAre("\tParser: Base64 format error"));
}

TEST_F(TokenizerLogTest, TracesALeftOverCharacter) {
  EXPECT_THAT(Messages("N;BASE64:Q\nM:x"),
              ElementsAre("\tParser: Base64 format error", "\tParser: Process char error"));
}

TEST_F(TokenizerLogTest, TracesALeftOverCharacterBeforeAnEmptyLine) {
  EXPECT_THAT(Messages("N;BASE64:Q\n\n"),
              ElementsAre("\tParser: It might be ending of Based64 data block...",
                          "\tParser: Base64 format error", "\tParser: Process char error",
                          "\tParser: Terminating block failed"));
}

TEST_F(TokenizerLogTest, TracesARefusedEnd) {
  RecordingParser parser;
  parser.answer = [](const HandlerCall& call) { return call.kind != HandlerCall::Kind::End; };
  EXPECT_EQ(parser.parse("N:\n"), 0);
  EXPECT_EQ(log.texts().back(), "\tParser: Terminating data error");
}

TEST_F(TokenizerLogTest, TracesNothingForRefusedData) {
  RecordingParser parser;
  parser.answer = [](const HandlerCall& call) { return call.kind != HandlerCall::Kind::Data; };
  EXPECT_EQ(parser.parse("N:x\nM:y"), 0);
  EXPECT_EQ(log.texts().back(), "\tParser: Terminate string");
}

TEST_F(TokenizerLogTest, TracesAnEndRefusedBehindABlock) {
  RecordingParser parser;
  parser.answer = [](const HandlerCall& call) { return call.kind != HandlerCall::Kind::End; };
  EXPECT_EQ(parser.parse("N;BASE64:QUJD\n\n"), 0);
  EXPECT_EQ(log.texts().back(), "\tParser: Terminating block failed");
}

TEST_F(TokenizerLogTest, TracesNothingForAColonInPlaceOfAParameter) {
  EXPECT_THAT(Messages("N;:x"), IsEmpty());
  EXPECT_THAT(Messages("N;A=;x"), IsEmpty());
}

}  // namespace
}  // namespace test
