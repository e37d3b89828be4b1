// The tokenizer: how lines become groups, names, parameters and data.

#include <cstring>

#include "tests/src/TokenizerFixture.h"

namespace test {
namespace {

using namespace std::string_literals;

// Layout, which other binaries rely on

/// The virtual slot of a member function.
template <typename Function>
long slotOf(Function function) {
  long first = 0;
  std::memcpy(&first, &function, sizeof first);
  constexpr long kVirtual = 1;
  return (first & ~kVirtual) / static_cast<long>(sizeof(void*));
}

TEST(TokenizerLayout, PutsTheHandlersBehindTheDestructor) {
  constexpr long kSlotsOfADestructor = 2;
  EXPECT_EQ(slotOf(&CARDCAL_Parser::propHandler), kSlotsOfADestructor);
  EXPECT_EQ(slotOf(&CARDCAL_Parser::dataHandler), kSlotsOfADestructor + 1);
  EXPECT_EQ(slotOf(&CARDCAL_Parser::groupHandler), kSlotsOfADestructor + 2);
}

TEST(TokenizerLayout, HasOneMember) { EXPECT_EQ(sizeof(CARDCAL_Parser), 2 * sizeof(void*)); }

// Whole lines

TEST_F(TokenizerTest, ReadsEachLineAsAProperty) {
  Feed("BEGIN:VCARD\nN:Doe\n");
  ExpectLine("BEGIN", "VCARD");
  ExpectLine("N", "Doe");
}

TEST_F(TokenizerTest, EndsTheLastLineItself) {
  Feed("N:Doe");
  ExpectLine("N", "Doe");
}

TEST_F(TokenizerTest, AcceptsEmptyInput) {
  Feed("");
  EXPECT_EQ(parser.parse(nullptr, 0), 1);
}

TEST_F(TokenizerTest, ReadsNoFurtherThanTheGivenLength) {
  const std::string text = "N:Doe\nM:x";
  EXPECT_EQ(parser.parse(reinterpret_cast<const unsigned char*>(text.data()), 5), 1);
  ExpectLine("N", "Doe");
}

TEST_F(TokenizerTest, DropsALineWithoutAColon) {
  Feed("no property\nN:Doe\n");
  ExpectLine("N", "Doe");
}

TEST_F(TokenizerTest, DropsALastLineWithoutAColon) { Feed("no property"); }

TEST_F(TokenizerTest, ReportsOnlyTheEndOfAPropertyWithoutData) {
  Feed("N:\nM:\n");
  ExpectProperty("N");
  ExpectEnd();
  ExpectProperty("M");
  ExpectEnd();
}

// The name

TEST_F(TokenizerTest, IgnoresACarriageReturnInTheName) {
  Feed("N\rA\r:x");
  ExpectLine("NA", "x");
}

TEST_F(TokenizerTest, IgnoresWhiteSpaceInTheName) {
  Feed("N A\tM\vE\f:x");
  ExpectLine("NAME", "x");
}

TEST_F(TokenizerTest, AcceptsAnEmptyName) {
  Feed(":x");
  ExpectLine("", "x");
}

TEST_F(TokenizerTest, KeepsCaseAndPunctuationOfTheName) {
  Feed("x-Ab=c\\\xE9\"<:x");
  ExpectLine("x-Ab=c\\\xE9\"<", "x");
}

TEST_F(TokenizerTest, EndsTheNameAtAZeroByte) {
  Feed("N\0ame:x"s);
  ExpectLine("N", "x");
}

TEST_F(TokenizerTest, KeepsALongName) {
  constexpr std::size_t kLengths[] = {126, 127, 128, 129, 1023, 1024, 1025, 5000};
  std::string text;
  for (const std::size_t length : kLengths) text += std::string(length, 'n') + ":x\n";
  Feed(text);
  for (const std::size_t length : kLengths) ExpectLine(std::string(length, 'n'), "x");
}

// The group

TEST_F(TokenizerTest, ReportsTheGroupBeforeTheProperty) {
  Feed("A.TEL;WORK;VOICE:123");
  ExpectGroup("A");
  ExpectProperty("TEL", {Bare("WORK"), Bare("VOICE")});
  ExpectWholeData("123");
}

TEST_F(TokenizerTest, EndsTheGroupAtTheFirstDot) {
  Feed("a.b.TEL:1");
  ExpectGroup("a");
  ExpectLine("b.TEL", "1");
}

TEST_F(TokenizerTest, AcceptsAnEmptyGroupAndName) {
  Feed(".N:x\nA.:y");
  ExpectGroup("");
  ExpectLine("N", "x");
  ExpectGroup("A");
  ExpectLine("", "y");
}

TEST_F(TokenizerTest, IgnoresDotsInParametersAndData) {
  Feed("N;A.B=c.d:x.y");
  ExpectProperty("N", {With("A.B", "c.d")});
  ExpectWholeData("x.y");
}

TEST_F(TokenizerTest, IgnoresADotBehindAZeroByte) {
  Feed("N\0A.B:x"s);
  ExpectLine("N", "x");
}

TEST_F(TokenizerTest, StopsWhenTheGroupIsRefused) {
  Refuse(HandlerCall::Kind::Group);
  FeedAndFail("A.N:x\nM:y\n");
  ExpectGroup("A");
}

// Before and in a parameter's name

TEST_F(TokenizerTest, FailsOnAColonInPlaceOfAParameter) { FeedAndFail("N;:x\nM:y\n"); }

TEST_F(TokenizerTest, FailsOnAColonInPlaceOfALaterParameter) { FeedAndFail("N;A;:x"); }

TEST_F(TokenizerTest, ForgetsALineThatFailed) {
  for (const char* failing : {"N;A;:", "N;A=:", "N;A=;"}) {
    RecordingParser reader;
    EXPECT_EQ(reader.parse(failing), 0);
    EXPECT_EQ(reader.parse("M:x"), 1);
    ASSERT_EQ(reader.calls.size(), 3U) << failing;
    EXPECT_EQ(reader.calls[0], (HandlerCall{HandlerCall::Kind::Property, "M", {}}));
  }
}

TEST_F(TokenizerTest, IgnoresWhiteSpaceBeforeAParameter) {
  Feed("N; \t\r\v\fA:x");
  ExpectProperty("N", {Bare("A")});
  ExpectWholeData("x");
}

TEST_F(TokenizerTest, IgnoresALineEndBeforeAParameter) {
  Feed("N;\nTEL:x");
  ExpectProperty("N", {Bare("TEL")});
  ExpectWholeData("x");
}

TEST_F(TokenizerTest, LetsAParameterBeginWithASemicolonOrEqualsSign) {
  Feed("N;;A;=B:x");
  ExpectProperty("N", {Bare(";A"), Bare("=B")});
  ExpectWholeData("x");
}

TEST_F(TokenizerTest, IgnoresWhiteSpaceInAParameter) {
  Feed("N;A B\tC\r=x:y");
  ExpectProperty("N", {With("ABC", "x")});
  ExpectWholeData("y");
}

TEST_F(TokenizerTest, IgnoresALineEndInAParameter) {
  Feed("N;A\nB:x");
  ExpectProperty("N", {Bare("AB")});
  ExpectWholeData("x");
}

TEST_F(TokenizerTest, KeepsABackslashInAParameterName) {
  Feed("N;A\\;B:x");
  ExpectProperty("N", {Bare("A\\"), Bare("B")});
  ExpectWholeData("x");
}

TEST_F(TokenizerTest, EndsAParameterAtAZeroByte) {
  Feed("N;A\0B=c\0d;E:x"s);
  ExpectProperty("N", {With("A", "c"), Bare("E")});
  ExpectWholeData("x");
}

TEST_F(TokenizerTest, KeepsTheOrderOfManyParameters) {
  std::string line = "N";
  Parameters expected;
  for (int i = 0; i < 300; ++i) {
    const std::string number = std::to_string(i);
    line += i % 2 == 0 ? ";P" + number : ";P" + number + "=v" + number;
    expected.push_back(i % 2 == 0 ? Bare("P" + number) : With("P" + number, "v" + number));
  }
  Feed(line + ":x");
  ExpectProperty("N", expected);
  ExpectWholeData("x");
}

TEST_F(TokenizerTest, ForgetsParametersWithTheirLine) {
  Feed("N;A=b:x\nM:y");
  ExpectProperty("N", {With("A", "b")});
  ExpectWholeData("x");
  ExpectLine("M", "y");
}

TEST_F(TokenizerTest, StopsWhenAPropertyIsRefused) {
  Refuse(HandlerCall::Kind::Property);
  FeedAndFail("N:x\nM:y\n");
  ExpectProperty("N");
}

TEST_F(TokenizerTest, StopsWhenAPropertyIsRefusedBehindAParameterName) {
  Refuse(HandlerCall::Kind::Property);
  FeedAndFail("N;A=b;C:x\nM:y\n");
  ExpectProperty("N", {With("A", "b"), Bare("C")});
}

// Before and in a parameter's value

TEST_F(TokenizerTest, FailsOnAColonInPlaceOfAValue) { FeedAndFail("N;A=:x\nM:y\n"); }

TEST_F(TokenizerTest, FailsOnASemicolonInPlaceOfAValue) { FeedAndFail("N;A=;B:x"); }

TEST_F(TokenizerTest, IgnoresWhiteSpaceBeforeAValue) {
  Feed("N;A= \t\r\n\n b:x");
  ExpectProperty("N", {With("A", "b")});
  ExpectWholeData("x");
}

TEST_F(TokenizerTest, LetsAValueBeginWithAnEqualsSignOrBackslash) {
  Feed("N;A==b;C=\\;D:x");
  ExpectProperty("N", {With("A", "=b"), With("C", "\\"), Bare("D")});
  ExpectWholeData("x");
}

TEST_F(TokenizerTest, KeepsAnEqualsSignInAValue) {
  Feed("N;A=b=c:x");
  ExpectProperty("N", {With("A", "b=c")});
  ExpectWholeData("x");
}

TEST_F(TokenizerTest, KeepsAnEscapedSemicolonInAValue) {
  Feed("N;A=b\\;c;D:x");
  ExpectProperty("N", {With("A", "b;c"), Bare("D")});
  ExpectWholeData("x");
}

TEST_F(TokenizerTest, KeepsAnEscapedBackslashInAValue) {
  Feed("N;A=b\\\\c\\\\;D:x");
  ExpectProperty("N", {With("A", "b\\c\\"), Bare("D")});
  ExpectWholeData("x");
}

TEST_F(TokenizerTest, AppliesABackslashToTheNextSemicolon) {
  Feed("N;A=b\\cd;e;F:x");
  ExpectProperty("N", {With("A", "bcd;e"), Bare("F")});
  ExpectWholeData("x");
}

TEST_F(TokenizerTest, EndsAValueAtAnEscapedColon) {
  Feed("N;A=b\\:x");
  ExpectProperty("N", {With("A", "b")});
  ExpectWholeData("x");
}

TEST_F(TokenizerTest, ForgetsABackslashWithItsLine) {
  Feed("N;A=b\\:x\nM;A=b;c:y");
  ExpectProperty("N", {With("A", "b")});
  ExpectWholeData("x");
  ExpectProperty("M", {With("A", "b"), Bare("c")});
  ExpectWholeData("y");
}

TEST_F(TokenizerTest, IgnoresWhiteSpaceInAValueEvenBehindABackslash) {
  Feed("N;A=b c\t\r\n d\\ ;e:x");
  ExpectProperty("N", {With("A", "bcd;e")});
  ExpectWholeData("x");
}

// Unfolding

TEST_F(TokenizerTest, JoinsAFoldedLineWithASpace) {
  Feed("N:Do\n e\nM:x");
  ExpectLine("N", "Do e");
  ExpectLine("M", "x");
}

TEST_F(TokenizerTest, UnfoldsATab) {
  Feed("N:Do\n\te");
  ExpectLine("N", "Do e");
}

TEST_F(TokenizerTest, RemovesOnlyTheFirstWhiteSpaceOfAFold) {
  Feed("N:Do\n  \te");
  ExpectLine("N", "Do  \te");
}

TEST_F(TokenizerTest, UnfoldsAfterACarriageReturn) {
  Feed("N:Do\r\n e\r\nM:x\r\n");
  ExpectLine("N", "Do e");
  ExpectLine("M", "x");
}

TEST_F(TokenizerTest, UnfoldsInTheNamePart) {
  Feed("TE\n L;WO\n RK;A=b\n c:1");
  ExpectProperty("TEL", {Bare("WORK"), With("A", "bc")});
  ExpectWholeData("1");
}

TEST_F(TokenizerTest, AddsNothingForAFoldBeforeTheData) {
  Feed("N:\n Doe");
  ExpectLine("N", "Doe");
}

TEST_F(TokenizerTest, AcceptsWhiteSpaceBeforeTheFirstLine) {
  Feed(" N: Doe");
  ExpectLine("N", "Doe");
}

TEST_F(TokenizerTest, SkipsEmptyLines) {
  Feed("\n\nN:Doe\n\n\nM:x\n\n");
  ExpectLine("N", "Doe");
  ExpectLine("M", "x");
}

TEST_F(TokenizerTest, JoinsTheNextPropertyAcrossAnEmptyLineWithCarriageReturn) {
  Feed("N:Doe\r\n\r\nM:x\r\n");
  ExpectLine("N", "Doe M:x");
}

TEST_F(TokenizerTest, JoinsTheNextLineAcrossALineWithASpace) {
  Feed("N:Doe\n \nM:x\n");
  ExpectLine("N", "Doe M:x");
}

TEST_F(TokenizerTest, JoinsOnceAcrossManyEmptyLinesWithCarriageReturn) {
  Feed("N:Doe\r\n\r\nM\r\n\r\nO:x");
  ExpectLine("N", "Doe M O:x");
}

TEST_F(TokenizerTest, AddsOnlyASpaceForTwoEmptyLinesWithCarriageReturn) {
  Feed("N:Doe\r\n\r\n\r\nM:x\r\n");
  ExpectProperty("N");
  ExpectWholeData("Doe ");
  ExpectLine("M", "x");
}

TEST_F(TokenizerTest, DoesNotEndALineAtACarriageReturn) {
  Feed("N:Doe\rM:x\r");
  ExpectLine("N", "DoeM:x");
}

TEST_F(TokenizerTest, DropsAFoldAtTheEnd) {
  Feed("N:Doe\n ");
  ExpectLine("N", "Doe");
}

// Plain data

TEST_F(TokenizerTest, SkipsWhiteSpaceBeforeTheData) {
  Feed("N: \t\v\fDoe");
  ExpectLine("N", "Doe");
}

TEST_F(TokenizerTest, KeepsWhiteSpaceInTheData) {
  Feed("N:John \t Doe  \n");
  ExpectLine("N", "John \t Doe  ");
}

TEST_F(TokenizerTest, TakesWhiteSpaceAloneForNoData) {
  Feed("N: \t \n");
  ExpectProperty("N");
  ExpectEnd();
}

TEST_F(TokenizerTest, IgnoresCarriageReturnsInTheData) {
  Feed("N:\rD\ro\re\r\n");
  ExpectLine("N", "Doe");
}

TEST_F(TokenizerTest, KeepsPunctuationInTheData) {
  Feed("N:a:b;c=d.e\\;f");
  ExpectLine("N", "a:b;c=d.e\\;f");
}

TEST_F(TokenizerTest, KeepsEveryOtherByte) {
  std::string data = "x";
  for (int byte = 0; byte < 256; ++byte) {
    if (byte != '\n' && byte != '\r') data += static_cast<char>(byte);
  }
  Feed("N:" + data + "\nM;8BIT:" + data);
  ExpectLine("N", data);
  ExpectProperty("M", {Bare("8BIT")});
  ExpectWholeData(data);
}

TEST_F(TokenizerTest, LetsDataBeginWithAZeroByte) {
  Feed("N: \0 x"s);
  ExpectLine("N", "\0 x"s);
}

TEST_F(TokenizerTest, TerminatesDataOfEveryLengthWithAZeroByte) {
  constexpr std::size_t kLengths[] = {1,    127,  128,  129,  256,  1023, 1024,
                                      1025, 1026, 1152, 1153, 2304, 2305, 100000};
  std::string text;
  for (const std::size_t length : kLengths) text += "N:" + std::string(length, 'd') + "\nM:x\n";
  Feed(text);
  for (const std::size_t length : kLengths) {
    ExpectLine("N", std::string(length, 'd'));
    ExpectLine("M", "x");
  }
}

TEST_F(TokenizerTest, StopsWhenDataAreRefused) {
  Refuse(HandlerCall::Kind::Data);
  FeedAndFail("N:x\nM:y\n");
  ExpectProperty("N");
  ExpectData("x");
}

TEST_F(TokenizerTest, FailsWhenDataOfTheLastLineAreRefused) {
  Refuse(HandlerCall::Kind::Data);
  FeedAndFail("N:x");
  ExpectProperty("N");
  ExpectData("x");
}

TEST_F(TokenizerTest, StopsWhenTheEndIsRefused) {
  Refuse(HandlerCall::Kind::End);
  FeedAndFail("N:x\nM:y\n");
  ExpectLine("N", "x");
}

}  // namespace
}  // namespace test
