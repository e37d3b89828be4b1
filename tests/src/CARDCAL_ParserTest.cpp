// The tokenizer: how lines become groups, names, parameters and data.

#include <cstring>

#include "tests/src/TokenizerFixture.h"

namespace test {
namespace {

using namespace std::string_literals;

// What a program that was compiled elsewhere relies on

/// Which place of the table of virtual functions this one has.
template <typename Function>
long slotOf(Function function) {
  long first = 0;
  std::memcpy(&first, &function, sizeof first);
  constexpr long kVirtual = 1;
  return (first & ~kVirtual) / static_cast<long>(sizeof(void*));
}

TEST(TokenizerLayout, TheHandlersFollowTheDestructorInTheirOrder) {
  constexpr long kSlotsOfADestructor = 2;
  EXPECT_EQ(slotOf(&CARDCAL_Parser::propHandler), kSlotsOfADestructor);
  EXPECT_EQ(slotOf(&CARDCAL_Parser::dataHandler), kSlotsOfADestructor + 1);
  EXPECT_EQ(slotOf(&CARDCAL_Parser::groupHandler), kSlotsOfADestructor + 2);
}

TEST(TokenizerLayout, ThereIsOneMember) { EXPECT_EQ(sizeof(CARDCAL_Parser), 2 * sizeof(void*)); }

// Whole lines

TEST_F(TokenizerTest, TwoLinesAreTwoProperties) {
  Feed("BEGIN:VCARD\nN:Doe\n");
  ExpectLine("BEGIN", "VCARD");
  ExpectLine("N", "Doe");
}

TEST_F(TokenizerTest, TheLastLineNeedsNoEnd) {
  Feed("N:Doe");
  ExpectLine("N", "Doe");
}

TEST_F(TokenizerTest, NothingIsReadFromNothing) {
  Feed("");
  EXPECT_EQ(parser.parse(nullptr, 0), 1);
}

TEST_F(TokenizerTest, OnlyAsManyBytesAreReadAsWereGiven) {
  const std::string text = "N:Doe\nM:x";
  EXPECT_EQ(parser.parse(reinterpret_cast<const unsigned char*>(text.data()), 5), 1);
  ExpectLine("N", "Doe");
}

TEST_F(TokenizerTest, ALineWithoutAColonIsDropped) {
  Feed("no property\nN:Doe\n");
  ExpectLine("N", "Doe");
}

TEST_F(TokenizerTest, ALastLineWithoutAColonIsDropped) { Feed("no property"); }

TEST_F(TokenizerTest, APropertyWithoutDataHasOnlyAnEnd) {
  Feed("N:\nM:\n");
  ExpectProperty("N");
  ExpectEnd();
  ExpectProperty("M");
  ExpectEnd();
}

// The name

TEST_F(TokenizerTest, ACarriageReturnInTheNameIsIgnored) {
  Feed("N\rA\r:x");
  ExpectLine("NA", "x");
}

TEST_F(TokenizerTest, WhiteSpaceInTheNameIsIgnored) {
  Feed("N A\tM\vE\f:x");
  ExpectLine("NAME", "x");
}

TEST_F(TokenizerTest, TheNameMayBeEmpty) {
  Feed(":x");
  ExpectLine("", "x");
}

TEST_F(TokenizerTest, TheNameKeepsItsCaseAndItsSigns) {
  Feed("x-Ab=c\\\xE9\"<:x");
  ExpectLine("x-Ab=c\\\xE9\"<", "x");
}

TEST_F(TokenizerTest, AZeroByteEndsTheNameThatIsSeen) {
  Feed("N\0ame:x"s);
  ExpectLine("N", "x");
}

TEST_F(TokenizerTest, ALongNameIsWhole) {
  constexpr std::size_t kLengths[] = {126, 127, 128, 129, 1023, 1024, 1025, 5000};
  std::string text;
  for (const std::size_t length : kLengths) text += std::string(length, 'n') + ":x\n";
  Feed(text);
  for (const std::size_t length : kLengths) ExpectLine(std::string(length, 'n'), "x");
}

// The group

TEST_F(TokenizerTest, TheGroupComesBeforeTheProperty) {
  Feed("A.TEL;WORK;VOICE:123");
  ExpectGroup("A");
  ExpectProperty("TEL", {Bare("WORK"), Bare("VOICE")});
  ExpectWholeData("123");
}

TEST_F(TokenizerTest, OnlyTheFirstDotEndsAGroup) {
  Feed("a.b.TEL:1");
  ExpectGroup("a");
  ExpectLine("b.TEL", "1");
}

TEST_F(TokenizerTest, GroupAndNameMayBeEmpty) {
  Feed(".N:x\nA.:y");
  ExpectGroup("");
  ExpectLine("N", "x");
  ExpectGroup("A");
  ExpectLine("", "y");
}

TEST_F(TokenizerTest, ADotInAParameterOrInDataMakesNoGroup) {
  Feed("N;A.B=c.d:x.y");
  ExpectProperty("N", {With("A.B", "c.d")});
  ExpectWholeData("x.y");
}

TEST_F(TokenizerTest, ADotBehindAZeroByteMakesNoGroup) {
  Feed("N\0A.B:x"s);
  ExpectLine("N", "x");
}

TEST_F(TokenizerTest, ARefusedGroupEndsTheReading) {
  Refuse(HandlerCall::Kind::Group);
  FeedAndFail("A.N:x\nM:y\n");
  ExpectGroup("A");
}

// Before and in a parameter's name

TEST_F(TokenizerTest, AColonInPlaceOfAParameterFails) { FeedAndFail("N;:x\nM:y\n"); }

TEST_F(TokenizerTest, AColonInPlaceOfALaterParameterFails) { FeedAndFail("N;A;:x"); }

TEST_F(TokenizerTest, ALineThatFailedIsForgotten) {
  for (const char* failing : {"N;A;:", "N;A=:", "N;A=;"}) {
    RecordingParser reader;
    EXPECT_EQ(reader.parse(failing), 0);
    EXPECT_EQ(reader.parse("M:x"), 1);
    ASSERT_EQ(reader.calls.size(), 3U) << failing;
    EXPECT_EQ(reader.calls[0], (HandlerCall{HandlerCall::Kind::Property, "M", {}}));
  }
}

TEST_F(TokenizerTest, WhiteSpaceBeforeAParameterIsIgnored) {
  Feed("N; \t\r\v\fA:x");
  ExpectProperty("N", {Bare("A")});
  ExpectWholeData("x");
}

TEST_F(TokenizerTest, ALineEndBeforeAParameterIsIgnored) {
  Feed("N;\nTEL:x");
  ExpectProperty("N", {Bare("TEL")});
  ExpectWholeData("x");
}

TEST_F(TokenizerTest, ASemicolonOrAnEqualsSignBeginsAParameter) {
  Feed("N;;A;=B:x");
  ExpectProperty("N", {Bare(";A"), Bare("=B")});
  ExpectWholeData("x");
}

TEST_F(TokenizerTest, WhiteSpaceInAParameterIsIgnored) {
  Feed("N;A B\tC\r=x:y");
  ExpectProperty("N", {With("ABC", "x")});
  ExpectWholeData("y");
}

TEST_F(TokenizerTest, ALineEndInAParameterIsIgnored) {
  Feed("N;A\nB:x");
  ExpectProperty("N", {Bare("AB")});
  ExpectWholeData("x");
}

TEST_F(TokenizerTest, ABackslashInAParametersNameIsKept) {
  Feed("N;A\\;B:x");
  ExpectProperty("N", {Bare("A\\"), Bare("B")});
  ExpectWholeData("x");
}

TEST_F(TokenizerTest, AZeroByteEndsTheParameterThatIsSeen) {
  Feed("N;A\0B=c\0d;E:x"s);
  ExpectProperty("N", {With("A", "c"), Bare("E")});
  ExpectWholeData("x");
}

TEST_F(TokenizerTest, ManyParametersKeepTheirOrder) {
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

TEST_F(TokenizerTest, ParametersAreForgottenWithTheirLine) {
  Feed("N;A=b:x\nM:y");
  ExpectProperty("N", {With("A", "b")});
  ExpectWholeData("x");
  ExpectLine("M", "y");
}

TEST_F(TokenizerTest, APropertyRefusedInItsNameEndsTheReading) {
  Refuse(HandlerCall::Kind::Property);
  FeedAndFail("N:x\nM:y\n");
  ExpectProperty("N");
}

TEST_F(TokenizerTest, APropertyRefusedInAParametersNameEndsTheReading) {
  Refuse(HandlerCall::Kind::Property);
  FeedAndFail("N;A=b;C:x\nM:y\n");
  ExpectProperty("N", {With("A", "b"), Bare("C")});
}

// Before and in a parameter's value

TEST_F(TokenizerTest, AColonInPlaceOfAValueFails) { FeedAndFail("N;A=:x\nM:y\n"); }

TEST_F(TokenizerTest, ASemicolonInPlaceOfAValueFails) { FeedAndFail("N;A=;B:x"); }

TEST_F(TokenizerTest, WhiteSpaceBeforeAValueIsIgnored) {
  Feed("N;A= \t\r\n\n b:x");
  ExpectProperty("N", {With("A", "b")});
  ExpectWholeData("x");
}

TEST_F(TokenizerTest, AValueMayBeginWithAnEqualsSignOrABackslash) {
  Feed("N;A==b;C=\\;D:x");
  ExpectProperty("N", {With("A", "=b"), With("C", "\\"), Bare("D")});
  ExpectWholeData("x");
}

TEST_F(TokenizerTest, AnEqualsSignInAValueIsKept) {
  Feed("N;A=b=c:x");
  ExpectProperty("N", {With("A", "b=c")});
  ExpectWholeData("x");
}

TEST_F(TokenizerTest, ABackslashKeepsASemicolonInAValue) {
  Feed("N;A=b\\;c;D:x");
  ExpectProperty("N", {With("A", "b;c"), Bare("D")});
  ExpectWholeData("x");
}

TEST_F(TokenizerTest, TwoBackslashesInAValueKeepOne) {
  Feed("N;A=b\\\\c\\\\;D:x");
  ExpectProperty("N", {With("A", "b\\c\\"), Bare("D")});
  ExpectWholeData("x");
}

TEST_F(TokenizerTest, ABackslashBeforeAnotherCharacterWaitsForTheNextSemicolon) {
  Feed("N;A=b\\cd;e;F:x");
  ExpectProperty("N", {With("A", "bcd;e"), Bare("F")});
  ExpectWholeData("x");
}

TEST_F(TokenizerTest, ABackslashDoesNotKeepAColon) {
  Feed("N;A=b\\:x");
  ExpectProperty("N", {With("A", "b")});
  ExpectWholeData("x");
}

TEST_F(TokenizerTest, AWaitingBackslashIsForgottenWithItsLine) {
  Feed("N;A=b\\:x\nM;A=b;c:y");
  ExpectProperty("N", {With("A", "b")});
  ExpectWholeData("x");
  ExpectProperty("M", {With("A", "b"), Bare("c")});
  ExpectWholeData("y");
}

TEST_F(TokenizerTest, WhiteSpaceInAValueIsIgnoredEvenBehindABackslash) {
  Feed("N;A=b c\t\r\n d\\ ;e:x");
  ExpectProperty("N", {With("A", "bcd;e")});
  ExpectWholeData("x");
}

// Unfolding

TEST_F(TokenizerTest, AFoldedLineIsContinuedWithASpace) {
  Feed("N:Do\n e\nM:x");
  ExpectLine("N", "Do e");
  ExpectLine("M", "x");
}

TEST_F(TokenizerTest, ATabFoldsALineToo) {
  Feed("N:Do\n\te");
  ExpectLine("N", "Do e");
}

TEST_F(TokenizerTest, OnlyTheFirstWhiteSpaceOfAFoldIsTakenOff) {
  Feed("N:Do\n  \te");
  ExpectLine("N", "Do  \te");
}

TEST_F(TokenizerTest, ALineMayBeFoldedAfterCarriageReturn) {
  Feed("N:Do\r\n e\r\nM:x\r\n");
  ExpectLine("N", "Do e");
  ExpectLine("M", "x");
}

TEST_F(TokenizerTest, AFoldInTheNamePartJoinsItsHalves) {
  Feed("TE\n L;WO\n RK;A=b\n c:1");
  ExpectProperty("TEL", {Bare("WORK"), With("A", "bc")});
  ExpectWholeData("1");
}

TEST_F(TokenizerTest, AFoldBeforeTheDataAddsNothing) {
  Feed("N:\n Doe");
  ExpectLine("N", "Doe");
}

TEST_F(TokenizerTest, TheVeryFirstLineMayBeginWithWhiteSpace) {
  Feed(" N: Doe");
  ExpectLine("N", "Doe");
}

TEST_F(TokenizerTest, EmptyLinesAreSkipped) {
  Feed("\n\nN:Doe\n\n\nM:x\n\n");
  ExpectLine("N", "Doe");
  ExpectLine("M", "x");
}

TEST_F(TokenizerTest, AnEmptyLineWithCarriageReturnJoinsTheNextProperty) {
  Feed("N:Doe\r\n\r\nM:x\r\n");
  ExpectLine("N", "Doe M:x");
}

TEST_F(TokenizerTest, AnEmptyLineWithASpaceJoinsTheNextLineToo) {
  Feed("N:Doe\n \nM:x\n");
  ExpectLine("N", "Doe M:x");
}

TEST_F(TokenizerTest, ManyEmptyLinesWithCarriageReturnJoinOnce) {
  Feed("N:Doe\r\n\r\nM\r\n\r\nO:x");
  ExpectLine("N", "Doe M O:x");
}

TEST_F(TokenizerTest, TwoEmptyLinesWithCarriageReturnJoinOnlyASpace) {
  Feed("N:Doe\r\n\r\n\r\nM:x\r\n");
  ExpectProperty("N");
  ExpectWholeData("Doe ");
  ExpectLine("M", "x");
}

TEST_F(TokenizerTest, ACarriageReturnAloneEndsNoLine) {
  Feed("N:Doe\rM:x\r");
  ExpectLine("N", "DoeM:x");
}

TEST_F(TokenizerTest, AFoldAtTheVeryEndIsDropped) {
  Feed("N:Doe\n ");
  ExpectLine("N", "Doe");
}

// Plain data

TEST_F(TokenizerTest, WhiteSpaceBeforeTheDataIsSkipped) {
  Feed("N: \t\v\fDoe");
  ExpectLine("N", "Doe");
}

TEST_F(TokenizerTest, WhiteSpaceInTheDataIsKept) {
  Feed("N:John \t Doe  \n");
  ExpectLine("N", "John \t Doe  ");
}

TEST_F(TokenizerTest, DataOfWhiteSpaceOnlyAreNone) {
  Feed("N: \t \n");
  ExpectProperty("N");
  ExpectEnd();
}

TEST_F(TokenizerTest, CarriageReturnsInTheDataAreIgnored) {
  Feed("N:\rD\ro\re\r\n");
  ExpectLine("N", "Doe");
}

TEST_F(TokenizerTest, SignsInTheDataMeanNothing) {
  Feed("N:a:b;c=d.e\\;f");
  ExpectLine("N", "a:b;c=d.e\\;f");
}

TEST_F(TokenizerTest, EveryOtherByteIsKeptAsItIs) {
  std::string data = "x";
  for (int byte = 0; byte < 256; ++byte) {
    if (byte != '\n' && byte != '\r') data += static_cast<char>(byte);
  }
  Feed("N:" + data + "\nM;8BIT:" + data);
  ExpectLine("N", data);
  ExpectProperty("M", {Bare("8BIT")});
  ExpectWholeData(data);
}

TEST_F(TokenizerTest, DataMayBeginWithAZeroByte) {
  Feed("N: \0 x"s);
  ExpectLine("N", "\0 x"s);
}

TEST_F(TokenizerTest, AZeroByteFollowsDataOfEveryLength) {
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

TEST_F(TokenizerTest, RefusedDataEndTheReading) {
  Refuse(HandlerCall::Kind::Data);
  FeedAndFail("N:x\nM:y\n");
  ExpectProperty("N");
  ExpectData("x");
}

TEST_F(TokenizerTest, RefusedDataOfTheLastLineFail) {
  Refuse(HandlerCall::Kind::Data);
  FeedAndFail("N:x");
  ExpectProperty("N");
  ExpectData("x");
}

TEST_F(TokenizerTest, ARefusedEndEndsTheReading) {
  Refuse(HandlerCall::Kind::End);
  FeedAndFail("N:x\nM:y\n");
  ExpectLine("N", "x");
}

}  // namespace
}  // namespace test
