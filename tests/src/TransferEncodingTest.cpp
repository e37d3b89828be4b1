// The tokenizer: quoted-printable and BASE64 data, and what says that data are encoded.

#include <cstdio>

#include "tests/src/TokenizerFixture.h"

namespace test {
namespace {

using namespace std::string_literals;

class TransferEncodingTest : public TokenizerTest {
 protected:
  /// With these parameters "QUJD" is taken for BASE64, and "=41" for quoted-printable.
  void ExpectEncoding(const std::string& encoding, const std::string& parameters) {
    RecordingParser reader;
    EXPECT_EQ(reader.parse("N;" + parameters + (encoding == "BASE64" ? ":QUJD" : ":=41")), 1);
    ASSERT_EQ(reader.calls.size(), 3U);
    const std::string data = encoding == "BASE64"             ? "ABC"
                             : encoding == "QUOTED-PRINTABLE" ? "A"
                                                              : "=41";
    EXPECT_EQ(reader.calls[1].text, data) << parameters;
  }
};

// Which encoding

TEST_F(TransferEncodingTest, AnEncodingParameterNamesIt) {
  ExpectEncoding("BASE64", "ENCODING=BASE64");
  ExpectEncoding("QUOTED-PRINTABLE", "ENCODING=QUOTED-PRINTABLE");
  ExpectEncoding("", "ENCODING=8BIT");
}

TEST_F(TransferEncodingTest, ABareParameterNamesIt) {
  ExpectEncoding("BASE64", "BASE64");
  ExpectEncoding("QUOTED-PRINTABLE", "QUOTED-PRINTABLE");
  ExpectEncoding("", "8BIT");
}

TEST_F(TransferEncodingTest, CaseDoesNotMatter) {
  ExpectEncoding("BASE64", "encoding=Base64");
  ExpectEncoding("BASE64", "bAsE64");
  ExpectEncoding("QUOTED-PRINTABLE", "Encoding=quoted-Printable");
  ExpectEncoding("QUOTED-PRINTABLE", "quoted-printable");
  ExpectEncoding("", "BASE64;encoding=8bit");
}

TEST_F(TransferEncodingTest, TheLastParameterThatNamesOneDecides) {
  ExpectEncoding("BASE64", "QUOTED-PRINTABLE;ENCODING=BASE64");
  ExpectEncoding("QUOTED-PRINTABLE", "ENCODING=BASE64;QUOTED-PRINTABLE");
  ExpectEncoding("", "BASE64;8BIT");
}

TEST_F(TransferEncodingTest, OtherParametersLeaveItAlone) {
  ExpectEncoding("BASE64", "TYPE=GIF;BASE64;X=y;Z");
  ExpectEncoding("BASE64", "BASE64;ENCODING=7BIT");
  ExpectEncoding("BASE64", "BASE64;ENCODING=B");
  ExpectEncoding("BASE64", "BASE64;ENCODING");
}

TEST_F(TransferEncodingTest, AnEncodingWithoutAValueIsNone) { ExpectEncoding("", "ENCODING"); }

TEST_F(TransferEncodingTest, TheValueOfAnotherParameterNamesNone) {
  ExpectEncoding("", "TYPE=QUOTED-PRINTABLE");
}

TEST_F(TransferEncodingTest, TheNameOfAParameterWithAValueNamesIt) {
  ExpectEncoding("BASE64", "BASE64=x");
}

TEST_F(TransferEncodingTest, TheEncodingIsForgottenWithItsProperty) {
  Feed("N;BASE64:QUJD\nM:QUJD\nO;QUOTED-PRINTABLE:=41\nP:=41\n");
  ExpectProperty("N", {Bare("BASE64")});
  ExpectWholeData("ABC");
  ExpectLine("M", "QUJD");
  ExpectProperty("O", {Bare("QUOTED-PRINTABLE")});
  ExpectWholeData("A");
  ExpectLine("P", "=41");
}

// Quoted-printable

TEST_F(TransferEncodingTest, QuotedPrintablePairsAreBytes) {
  ExpectQuotedPrintable("J=6Fhn=3D=e9=E9", "John=\xE9\xE9");
}

TEST_F(TransferEncodingTest, ASoftLineBreakContinuesTheData) {
  ExpectQuotedPrintable("a=3Db=\nc\n", "a=bc");
}

TEST_F(TransferEncodingTest, ASoftLineBreakMayHaveACarriageReturn) {
  ExpectQuotedPrintable("a=\r\nb=\r\n=63\r\n", "abc");
}

TEST_F(TransferEncodingTest, AfterASoftLineBreakNamesAreData) {
  ExpectQuotedPrintable("a=\nM:x\n", "aM:x");
}

TEST_F(TransferEncodingTest, ASoftLineBreakBeforeWhiteSpaceIsAFold) {
  ExpectQuotedPrintable("a=\n b", "a b");
}

TEST_F(TransferEncodingTest, AFoldAfterOneDigitDropsTheDigit) {
  ExpectQuotedPrintable("a=4\n 1b", "a 1b");
}

TEST_F(TransferEncodingTest, ALineEndAfterOneDigitDropsTheDigitAndEndsTheProperty) {
  Feed("N;QUOTED-PRINTABLE:a=4\nM:x");
  ExpectProperty("N", {Bare("QUOTED-PRINTABLE")});
  ExpectWholeData("a");
  ExpectLine("M", "x");
}

TEST_F(TransferEncodingTest, ADroppedDigitIsForgottenWithItsProperty) {
  Feed("N;QUOTED-PRINTABLE:=4\nM;QUOTED-PRINTABLE:1x");
  ExpectProperty("N", {Bare("QUOTED-PRINTABLE")});
  ExpectEnd();
  ExpectProperty("M", {Bare("QUOTED-PRINTABLE")});
  ExpectWholeData("1x");
}

TEST_F(TransferEncodingTest, ASoftLineBreakAtTheVeryEndLeavesThePropertyOpen) {
  Feed("N;QUOTED-PRINTABLE:a=");
  ExpectProperty("N", {Bare("QUOTED-PRINTABLE")});
}

TEST_F(TransferEncodingTest, ASoftLineBreakKeepsTheEmptyLinesBehindIt) {
  ExpectQuotedPrintable("a=\n\n\nb\n", "ab");
}

TEST_F(TransferEncodingTest, WhiteSpaceBeforeTheDataIsSkippedAfterASoftLineBreakToo) {
  ExpectQuotedPrintable(" =20x", " x");
  Feed("M;QUOTED-PRINTABLE:  =\nx");
  ExpectProperty("M", {Bare("QUOTED-PRINTABLE")});
  ExpectWholeData("x");
}

TEST_F(TransferEncodingTest, APairWithoutHexadecimalDigitsIsAZeroByte) {
  ExpectQuotedPrintable("a=GHb", "a\0b"s);
}

TEST_F(TransferEncodingTest, APairWithOneDigitInFrontIsThatDigit) {
  ExpectQuotedPrintable("a=4Gb",
                        "a\x04"
                        "b");
}

TEST_F(TransferEncodingTest, EncodedLineEndsAreData) {
  ExpectQuotedPrintable("a=0D=0Ab", "a\r\nb");
}

TEST_F(TransferEncodingTest, ACarriageReturnBetweenTheDigitsIsIgnored) {
  ExpectQuotedPrintable("=\r4\r1", "A");
}

TEST_F(TransferEncodingTest, AZeroByteInPlaceOfTheFirstDigitIsPassedOver) {
  ExpectQuotedPrintable(
      "=\0"
      "41"s,
      "A");
}

TEST_F(TransferEncodingTest, EveryPairOfBytesIsWhatTheLibraryReadsAsHexadecimal) {
  std::string text;
  std::string expected;
  for (int first = 1; first < 256; ++first) {
    for (int second = 0; second < 256; ++second) {
      // Line ends never get here, and a carriage return is ignored.
      if (first == '\r' || first == '\n' || second == '\r' || second == '\n') continue;
      const char pair[] = {static_cast<char>(first), static_cast<char>(second), '\0'};
      unsigned int value = 0;
      static_cast<void>(std::sscanf(pair, "%X", &value));
      expected += static_cast<char>(value & 0xff);
      text.append("=").append(pair, 2);
    }
  }
  ExpectQuotedPrintable(text, expected);
}

// BASE64

TEST_F(TransferEncodingTest, AFoldedBlockEndsWithAnEmptyLine) {
  Feed("N;BASE64:\n QUJD\n\nM:x\n");
  ExpectProperty("N", {Bare("BASE64")});
  ExpectWholeData("ABC");
  ExpectLine("M", "x");
}

TEST_F(TransferEncodingTest, AFoldedBlockEndsWithAnEmptyLineAfterCarriageReturns) {
  Feed("N;BASE64:\r\n QUJD\r\n RA==\r\n\r\nM:x\r\n");
  ExpectProperty("N", {Bare("BASE64")});
  ExpectWholeData("ABCD");
  ExpectLine("M", "x");
}

TEST_F(TransferEncodingTest, ABlockMayEndWithManyEmptyLines) {
  Feed("N;BASE64:QUJD\n\n\n\nM:x\n");
  ExpectProperty("N", {Bare("BASE64")});
  ExpectWholeData("ABC");
  ExpectLine("M", "x");
}

TEST_F(TransferEncodingTest, ABlockEndsAtTheNextPropertyToo) {
  Feed("N;BASE64:QUJD\nM:x\n");
  ExpectProperty("N", {Bare("BASE64")});
  ExpectWholeData("ABC");
  ExpectLine("M", "x");
}

TEST_F(TransferEncodingTest, AnEmptyLineWithASpaceDoesNotHideTheEndOfABlock) {
  Feed("N;BASE64:QUJD\n \nM:x\n");
  ExpectProperty("N", {Bare("BASE64")});
  ExpectWholeData("ABC");
  ExpectLine("M", "x");
}

TEST_F(TransferEncodingTest, PaddingShortensTheLastGroup) {
  ExpectBase64("QUJDRA==", "ABCD");
  ExpectBase64("QUJDREU=", "ABCDE");
}

TEST_F(TransferEncodingTest, MissingPaddingIsSupplied) {
  ExpectBase64("QUI", "AB");
  ExpectBase64("QQ", "A");
  ExpectBase64("QUI\n\n", "AB");
}

TEST_F(TransferEncodingTest, APaddedGroupMayBeFollowedByMore) { ExpectBase64("QQ==QUJD", "AABC"); }

TEST_F(TransferEncodingTest, TheFourthCharacterIsNotLookedAtBehindPadding) {
  ExpectBase64("QQ=A", "A");
  ExpectBase64("QQ=*", "A");
}

TEST_F(TransferEncodingTest, WhiteSpaceInABlockIsSkipped) { ExpectBase64(" Q U\tJ\v\fD\r", "ABC"); }

TEST_F(TransferEncodingTest, TheAlphabetHasItsValues) {
  const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  std::string expected;
  for (std::size_t value = 0; value < alphabet.size(); ++value) {
    text.append("AAA").append(1, alphabet[value]);
    expected.append("\0\0"s).append(1, static_cast<char>(value));
  }
  ExpectBase64(text, expected);
}

TEST_F(TransferEncodingTest, TheBitsOfAllFourCharactersAreUsed) {
  ExpectBase64("////", "\xFF\xFF\xFF");
  ExpectBase64("+/+/", "\xFB\xFF\xBF");
  ExpectBase64("AQID", "\x01\x02\x03");
  ExpectBase64("/w==", "\xFF");
  ExpectBase64("AP8=", "\0\xFF"s);
}

TEST_F(TransferEncodingTest, ALeftOverCharacterFails) { ExpectBrokenBase64("QUJDQ\nM:x\n"); }

TEST_F(TransferEncodingTest, ALeftOverCharacterBeforeAnEmptyLineFails) {
  ExpectBrokenBase64("Q\n\nM:x\n");
}

TEST_F(TransferEncodingTest, ACharacterOutsideTheAlphabetFailsInEveryPlace) {
  for (const char* group : {"*UJD", "Q*JD", "QU*D", "QUJ*", "QU*="}) {
    RecordingParser reader;
    EXPECT_EQ(reader.parse("N;BASE64:" + std::string(group) + "\nM:x"), 0) << group;
    EXPECT_EQ(reader.calls.size(), 1U) << group;
  }
}

TEST_F(TransferEncodingTest, EveryByteOutsideTheAlphabetFails) {
  const std::string inside =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/= \t\n\v\f\r";
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    if (inside.find(c) != std::string::npos) continue;
    RecordingParser reader;
    EXPECT_EQ(reader.parse("N;BASE64:AAA" + std::string(1, c)), 0) << byte;
  }
}

TEST_F(TransferEncodingTest, PaddingInTheFirstTwoPlacesFails) { ExpectBrokenBase64("=UJD"); }

TEST_F(TransferEncodingTest, PaddingInTheSecondPlaceFails) { ExpectBrokenBase64("Q==="); }

TEST_F(TransferEncodingTest, BrokenBase64DropsTheDataDecodedBefore) {
  ExpectBrokenBase64("QUJDQUJD****");
}

TEST_F(TransferEncodingTest, ALargeBlockIsWhole) {
  std::string encoded;
  std::string expected;
  for (int i = 0; i < 20000; ++i) {
    encoded += i % 18 == 0 ? "\n QUJD" : "QUJD";
    expected += "ABC";
  }
  ExpectBase64(encoded, expected);
}

TEST_F(TransferEncodingTest, AQuartetThatWasRefusedStaysRefused) {
  RecordingParser reader;
  EXPECT_EQ(reader.parse("N;BASE64:Q!QU"), 0);
  for (int again = 0; again < 3; ++again) EXPECT_EQ(reader.parse("QUJDQUJD"), 0);
}

}  // namespace
}  // namespace test
