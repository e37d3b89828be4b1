// The tokenizer: quoted-printable and BASE64, and the parameters that name an encoding.

#include <cstdio>

#include "tests/src/TokenizerFixture.h"

namespace test {
namespace {

using namespace std::string_literals;

class TransferEncodingTest : public TokenizerTest {
 protected:
  /// Expects "QUJD" and "=41" to be decoded according to these parameters.
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

// Choosing the encoding

TEST_F(TransferEncodingTest, IsNamedByAnEncodingParameter) {
  ExpectEncoding("BASE64", "ENCODING=BASE64");
  ExpectEncoding("QUOTED-PRINTABLE", "ENCODING=QUOTED-PRINTABLE");
  ExpectEncoding("", "ENCODING=8BIT");
}

TEST_F(TransferEncodingTest, IsNamedByABareParameter) {
  ExpectEncoding("BASE64", "BASE64");
  ExpectEncoding("QUOTED-PRINTABLE", "QUOTED-PRINTABLE");
  ExpectEncoding("", "8BIT");
}

TEST_F(TransferEncodingTest, IgnoresCase) {
  ExpectEncoding("BASE64", "encoding=Base64");
  ExpectEncoding("BASE64", "bAsE64");
  ExpectEncoding("QUOTED-PRINTABLE", "Encoding=quoted-Printable");
  ExpectEncoding("QUOTED-PRINTABLE", "quoted-printable");
  ExpectEncoding("", "BASE64;encoding=8bit");
}

TEST_F(TransferEncodingTest, IsNamedByTheLastParameter) {
  ExpectEncoding("BASE64", "QUOTED-PRINTABLE;ENCODING=BASE64");
  ExpectEncoding("QUOTED-PRINTABLE", "ENCODING=BASE64;QUOTED-PRINTABLE");
  ExpectEncoding("", "BASE64;8BIT");
}

TEST_F(TransferEncodingTest, IsNotChangedByOtherParameters) {
  ExpectEncoding("BASE64", "TYPE=GIF;BASE64;X=y;Z");
  ExpectEncoding("BASE64", "BASE64;ENCODING=7BIT");
  ExpectEncoding("BASE64", "BASE64;ENCODING=B");
  ExpectEncoding("BASE64", "BASE64;ENCODING");
}

TEST_F(TransferEncodingTest, IsNoneWithoutAValue) {
  ExpectEncoding("", "ENCODING");
  Feed("BASE64;ENCODING:QUJD\n");
  ExpectProperty("BASE64", {{"ENCODING", std::nullopt}});
  ExpectWholeData("QUJD");
}

TEST_F(TransferEncodingTest, IsNotNamedByAnotherParametersValue) {
  ExpectEncoding("", "TYPE=QUOTED-PRINTABLE");
}

TEST_F(TransferEncodingTest, IsNamedByAParameterWithAValue) {
  ExpectEncoding("BASE64", "BASE64=x");
}

TEST_F(TransferEncodingTest, IsForgottenWithItsProperty) {
  Feed("N;BASE64:QUJD\nM:QUJD\nO;QUOTED-PRINTABLE:=41\nP:=41\n");
  ExpectProperty("N", {Bare("BASE64")});
  ExpectWholeData("ABC");
  ExpectLine("M", "QUJD");
  ExpectProperty("O", {Bare("QUOTED-PRINTABLE")});
  ExpectWholeData("A");
  ExpectLine("P", "=41");
}

// Quoted-printable

TEST_F(TransferEncodingTest, DecodesQuotedPrintablePairs) {
  ExpectQuotedPrintable("J=6Fhn=3D=e9=E9", "John=\xE9\xE9");
}

TEST_F(TransferEncodingTest, ContinuesDataAfterASoftLineBreak) {
  ExpectQuotedPrintable("a=3Db=\nc\n", "a=bc");
}

TEST_F(TransferEncodingTest, AcceptsACarriageReturnInASoftLineBreak) {
  ExpectQuotedPrintable("a=\r\nb=\r\n=63\r\n", "abc");
}

TEST_F(TransferEncodingTest, TakesAPropertyAfterASoftLineBreakForData) {
  ExpectQuotedPrintable("a=\nM:x\n", "aM:x");
}

TEST_F(TransferEncodingTest, TakesASoftLineBreakBeforeWhiteSpaceForAFold) {
  ExpectQuotedPrintable("a=\n b", "a b");
}

TEST_F(TransferEncodingTest, DropsADigitBeforeAFold) { ExpectQuotedPrintable("a=4\n 1b", "a 1b"); }

TEST_F(TransferEncodingTest, DropsADigitAtTheEndOfALine) {
  Feed("N;QUOTED-PRINTABLE:a=4\nM:x");
  ExpectProperty("N", {Bare("QUOTED-PRINTABLE")});
  ExpectWholeData("a");
  ExpectLine("M", "x");
}

TEST_F(TransferEncodingTest, ForgetsADroppedDigitWithItsProperty) {
  Feed("N;QUOTED-PRINTABLE:=4\nM;QUOTED-PRINTABLE:1x");
  ExpectProperty("N", {Bare("QUOTED-PRINTABLE")});
  ExpectEnd();
  ExpectProperty("M", {Bare("QUOTED-PRINTABLE")});
  ExpectWholeData("1x");
}

TEST_F(TransferEncodingTest, LeavesThePropertyOpenAfterALastSoftLineBreak) {
  Feed("N;QUOTED-PRINTABLE:a=");
  ExpectProperty("N", {Bare("QUOTED-PRINTABLE")});
}

TEST_F(TransferEncodingTest, SkipsEmptyLinesBehindASoftLineBreak) {
  ExpectQuotedPrintable("a=\n\n\nb\n", "ab");
}

TEST_F(TransferEncodingTest, SkipsWhiteSpaceBeforeTheDataAfterASoftLineBreak) {
  ExpectQuotedPrintable(" =20x", " x");
  Feed("M;QUOTED-PRINTABLE:  =\nx");
  ExpectProperty("M", {Bare("QUOTED-PRINTABLE")});
  ExpectWholeData("x");
}

TEST_F(TransferEncodingTest, DecodesAPairWithoutDigitsAsZero) {
  ExpectQuotedPrintable("a=GHb", "a\0b"s);
}

TEST_F(TransferEncodingTest, DecodesAPairWithOneDigitAsThatDigit) {
  ExpectQuotedPrintable("a=4Gb",
                        "a\x04"
                        "b");
}

TEST_F(TransferEncodingTest, KeepsEncodedLineEnds) { ExpectQuotedPrintable("a=0D=0Ab", "a\r\nb"); }

TEST_F(TransferEncodingTest, IgnoresACarriageReturnBetweenTheDigits) {
  ExpectQuotedPrintable("=\r4\r1", "A");
}

TEST_F(TransferEncodingTest, PassesOverAZeroByteInPlaceOfTheFirstDigit) {
  ExpectQuotedPrintable(
      "=\0"
      "41"s,
      "A");
}

TEST_F(TransferEncodingTest, DecodesEveryPairOfBytesLikeSscanf) {
  std::string text;
  std::string expected;
  for (int first = 1; first < 256; ++first) {
    for (int second = 0; second < 256; ++second) {
      // Never reach the decoder.
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

TEST_F(TransferEncodingTest, EndsAFoldedBlockAtAnEmptyLine) {
  Feed("N;BASE64:\n QUJD\n\nM:x\n");
  ExpectProperty("N", {Bare("BASE64")});
  ExpectWholeData("ABC");
  ExpectLine("M", "x");
}

TEST_F(TransferEncodingTest, EndsAFoldedBlockAtAnEmptyLineAfterCarriageReturns) {
  Feed("N;BASE64:\r\n QUJD\r\n RA==\r\n\r\nM:x\r\n");
  ExpectProperty("N", {Bare("BASE64")});
  ExpectWholeData("ABCD");
  ExpectLine("M", "x");
}

TEST_F(TransferEncodingTest, EndsABlockAtManyEmptyLines) {
  Feed("N;BASE64:QUJD\n\n\n\nM:x\n");
  ExpectProperty("N", {Bare("BASE64")});
  ExpectWholeData("ABC");
  ExpectLine("M", "x");
}

TEST_F(TransferEncodingTest, EndsABlockAtTheNextProperty) {
  Feed("N;BASE64:QUJD\nM:x\n");
  ExpectProperty("N", {Bare("BASE64")});
  ExpectWholeData("ABC");
  ExpectLine("M", "x");
}

TEST_F(TransferEncodingTest, EndsABlockBehindALineWithASpace) {
  Feed("N;BASE64:QUJD\n \nM:x\n");
  ExpectProperty("N", {Bare("BASE64")});
  ExpectWholeData("ABC");
  ExpectLine("M", "x");
}

TEST_F(TransferEncodingTest, ShortensAPaddedGroup) {
  ExpectBase64("QUJDRA==", "ABCD");
  ExpectBase64("QUJDREU=", "ABCDE");
}

TEST_F(TransferEncodingTest, SuppliesMissingPadding) {
  ExpectBase64("QUI", "AB");
  ExpectBase64("QQ", "A");
  ExpectBase64("QUI\n\n", "AB");
}

TEST_F(TransferEncodingTest, ContinuesBehindAPaddedGroup) { ExpectBase64("QQ==QUJD", "AABC"); }

TEST_F(TransferEncodingTest, IgnoresTheFourthCharacterBehindPadding) {
  ExpectBase64("QQ=A", "A");
  ExpectBase64("QQ=*", "A");
}

TEST_F(TransferEncodingTest, SkipsWhiteSpaceInABlock) { ExpectBase64(" Q U\tJ\v\fD\r", "ABC"); }

TEST_F(TransferEncodingTest, DecodesTheWholeAlphabet) {
  const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  std::string expected;
  for (std::size_t value = 0; value < alphabet.size(); ++value) {
    text.append("AAA").append(1, alphabet[value]);
    expected.append("\0\0"s).append(1, static_cast<char>(value));
  }
  ExpectBase64(text, expected);
}

TEST_F(TransferEncodingTest, UsesTheBitsOfAllFourCharacters) {
  ExpectBase64("////", "\xFF\xFF\xFF");
  ExpectBase64("+/+/", "\xFB\xFF\xBF");
  ExpectBase64("AQID", "\x01\x02\x03");
  ExpectBase64("/w==", "\xFF");
  ExpectBase64("AP8=", "\0\xFF"s);
}

TEST_F(TransferEncodingTest, FailsOnALeftOverCharacter) { ExpectBrokenBase64("QUJDQ\nM:x\n"); }

TEST_F(TransferEncodingTest, FailsOnALeftOverCharacterBeforeAnEmptyLine) {
  ExpectBrokenBase64("Q\n\nM:x\n");
}

TEST_F(TransferEncodingTest, FailsOnACharacterOutsideTheAlphabetInEveryPlace) {
  for (const char* group : {"*UJD", "Q*JD", "QU*D", "QUJ*", "QU*="}) {
    RecordingParser reader;
    EXPECT_EQ(reader.parse("N;BASE64:" + std::string(group) + "\nM:x"), 0) << group;
    EXPECT_EQ(reader.calls.size(), 1U) << group;
  }
}

TEST_F(TransferEncodingTest, FailsOnEveryByteOutsideTheAlphabet) {
  const std::string inside =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/= \t\n\v\f\r";
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    if (inside.find(c) != std::string::npos) continue;
    RecordingParser reader;
    EXPECT_EQ(reader.parse("N;BASE64:AAA" + std::string(1, c)), 0) << byte;
  }
}

TEST_F(TransferEncodingTest, FailsOnPaddingInTheFirstPlace) { ExpectBrokenBase64("=UJD"); }

TEST_F(TransferEncodingTest, FailsOnPaddingInTheSecondPlace) { ExpectBrokenBase64("Q==="); }

TEST_F(TransferEncodingTest, DropsDataDecodedBeforeAnError) { ExpectBrokenBase64("QUJDQUJD****"); }

TEST_F(TransferEncodingTest, DecodesALargeBlock) {
  std::string encoded;
  std::string expected;
  for (int i = 0; i < 20000; ++i) {
    encoded += i % 18 == 0 ? "\n QUJD" : "QUJD";
    expected += "ABC";
  }
  ExpectBase64(encoded, expected);
}

TEST_F(TransferEncodingTest, RefusesAQuartetAgain) {
  RecordingParser reader;
  EXPECT_EQ(reader.parse("N;BASE64:Q!QU"), 0);
  for (int again = 0; again < 3; ++again) EXPECT_EQ(reader.parse("QUJDQUJD"), 0);
}

}  // namespace
}  // namespace test
