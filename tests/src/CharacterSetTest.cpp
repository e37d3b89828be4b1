// The card reader: conversion to UTF-8.

#include <cstdlib>
#include <memory>

#include "tests/src/CardFixture.h"

namespace test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Not;

class CharacterSetTest : public CardTest {
 protected:
  t_cardparser_charset CharsetOf(std::vector<const char*> params) {
    params.insert(params.end(), {nullptr, nullptr});
    return reader.getCharset(params.data());
  }

  /// The converted text, "(null)" if it can't be converted.
  std::string Converted(const char* text, t_cardparser_charset charset) {
    return Taken(reader.data2Utf8(text, charset));
  }
  std::string FromLatin1(const char* text) {
    return Taken(reinterpret_cast<char*>(
        reader.latin12Utf8(reinterpret_cast<const unsigned char*>(text), 0, nullptr)));
  }
  static std::string Taken(char* text) {
    const std::unique_ptr<char, decltype(&std::free)> owner(text, &std::free);
    return text == nullptr ? "(null)" : text;
  }

  /// Expects valid text, or invalid text cut to `rest`.
  void ExpectValid(std::string text) {
    const std::string before = text;
    EXPECT_EQ(validateUTF8String(reinterpret_cast<unsigned char*>(text.data())), 1);
    EXPECT_EQ(text, before);
  }
  void ExpectCut(std::string text, const std::string& left) {
    EXPECT_EQ(validateUTF8String(reinterpret_cast<unsigned char*>(text.data())), 0);
    EXPECT_EQ(std::string(text.c_str()), left);
  }

  /// The UTF-8 bytes of a code point, "-1" if it is refused.
  std::string Encoded(unsigned int codePoint, int size = 4) {
    unsigned char buffer[5] = {0, 0, 0, 0, 0};
    const int length = reader.unicodeChar2Utf8(codePoint, buffer, size);
    if (length < 0) return "-1";
    return std::string(reinterpret_cast<char*>(buffer), static_cast<std::size_t>(length));
  }
};

// Choosing the character set

TEST_F(CharacterSetTest, TakesTextWithoutACharsetForLatin1) {
  EXPECT_EQ(CharsetOf({}), 3);
  EXPECT_EQ(CharsetOf({"WORK", nullptr, "LANGUAGE", "de"}), CHARSET_ISO_8859_1);
}

TEST_F(CharacterSetTest, KnowsThreeCharsets) {
  EXPECT_EQ(CharsetOf({"CHARSET", "UTF-8"}), 2);
  EXPECT_EQ(CharsetOf({"CHARSET", "ISO-8859-1"}), 3);
  EXPECT_EQ(CharsetOf({"CHARSET", "ISO-8859-2"}), 4);
}

TEST_F(CharacterSetTest, IgnoresCase) {
  EXPECT_EQ(CharsetOf({"charset", "utf-8"}), CHARSET_UTF8);
  EXPECT_EQ(CharsetOf({"Charset", "Iso-8859-1"}), CHARSET_ISO_8859_1);
  EXPECT_EQ(CharsetOf({"CHARSET", "iso-8859-2"}), CHARSET_ISO_8859_2);
}

TEST_F(CharacterSetTest, KnowsNoOtherCharset) {
  EXPECT_EQ(CharsetOf({"CHARSET", "KOI8-R"}), 1);
  EXPECT_EQ(CharsetOf({"CHARSET", "UTF8"}), CHARSET_UNKNOWN);
  EXPECT_EQ(CharsetOf({"CHARSET", ""}), CHARSET_UNKNOWN);
}

TEST_F(CharacterSetTest, TakesACharsetWithoutAValueForUnknown) {
  EXPECT_EQ(CharsetOf({"CHARSET", nullptr}), CHARSET_UNKNOWN);
  FeedCardAndFail("N;CHARSET:Doe");
}

TEST_F(CharacterSetTest, UsesTheFirstCharset) {
  EXPECT_EQ(CharsetOf({"WORK", nullptr, "CHARSET", "UTF-8", "CHARSET", "ISO-8859-2"}),
            CHARSET_UTF8);
  EXPECT_EQ(CharsetOf({"CHARSET", nullptr, "CHARSET", "UTF-8"}), CHARSET_UNKNOWN);
}

TEST_F(CharacterSetTest, IgnoresABareCharsetName) {
  EXPECT_EQ(CharsetOf({"UTF-8", nullptr}), CHARSET_ISO_8859_1);
}

// Whole cards

TEST_F(CharacterSetTest, TakesUtf8WithoutACharsetForLatin1) {
  FeedCard("ORG:Caf\xC3\xA9");
  ExpectEntry("Company", "Caf\xC3\x83\xC2\xA9");
}

TEST_F(CharacterSetTest, KeepsUtf8) {
  FeedCard("ORG;CHARSET=utf-8:Caf\xC3\xA9");
  ExpectEntry("Company", "Caf\xC3\xA9");
}

TEST_F(CharacterSetTest, ConvertsLatin1) {
  FeedCard("ORG;CHARSET=iso-8859-1:Caf\xE9\xA0");
  ExpectEntry("Company", "Caf\xC3\xA9\xC2\xA0");
}

TEST_F(CharacterSetTest, AppliesTheCharsetToDecodedText) {
  FeedCard("ORG;CHARSET=UTF-8;ENCODING=QUOTED-PRINTABLE:Caf=C3=A9\nTITLE;BASE64:6Q==\n");
  ExpectEntry("Company", "Caf\xC3\xA9");
  ExpectEntry("JobFunction", "\xC3\xA9");
}

TEST_F(CharacterSetTest, ConvertsEveryTextField) {
  FeedCard("N:\xE1;\xE2\nEMAIL:\xE3\nTITLE:\xE4\nORG:\xE5\nADR:\xE6\nADR:\xE7");
  ExpectEntry("Surname", "\xC3\xA1");
  ExpectEntry("Firstname", "\xC3\xA2");
  ExpectEntry("Email", "\xC3\xA3");
  ExpectEntry("JobFunction", "\xC3\xA4");
  ExpectEntry("Company", "\xC3\xA5");
  ExpectEntry("Address", "\xC3\xA6");
  ExpectEntry("Address2", "\xC3\xA7");
}

TEST_F(CharacterSetTest, FailsOnTextThatCannotBeConverted) {
  for (const char* charset : {"ISO-8859-2", "KOI8-R"}) {
    for (const char* name : {"N", "EMAIL;INTERNET", "TITLE", "ORG", "ADR"}) {
      CARD_Parser fresh(&storage);
      const std::string card = Card(std::string(name) + ";CHARSET=" + charset + ":x");
      EXPECT_EQ(readWith(fresh, card), 0) << card;
    }
  }
}

TEST_F(CharacterSetTest, DoesNotConvertAFormattedName) { FeedCard("FN;CHARSET=ISO-8859-2:x"); }

TEST_F(CharacterSetTest, AcceptsEmptyTextInAnyCharset) { FeedCard("N;CHARSET=KOI8-R:"); }

TEST_F(CharacterSetTest, ForgetsTheCharsetWithItsProperty) {
  FeedCard("ORG;CHARSET=UTF-8:\xC3\xA9\nTITLE:\xC3\xA9");
  ExpectEntry("Company", "\xC3\xA9");
  ExpectEntry("JobFunction", "\xC3\x83\xC2\xA9");
}

TEST_F(CharacterSetTest, KeepsUtf8UpToAnInvalidByte) {
  const LogRecorder log;
  FeedCard("ORG;CHARSET=UTF-8:10 \xE2\x82\xAC only");
  ExpectEntry("Company", "10 \xE2\x82");
  EXPECT_THAT(log.texts(2), ElementsAre("\tl_utf8_data is not valid UTF8 string: 10 \xE2\x82"));
}

// data2Utf8

TEST_F(CharacterSetTest, TracesValidUtf8) {
  const LogRecorder log;
  EXPECT_EQ(Converted("\xC3\xA9", CHARSET_UTF8), "\xC3\xA9");
  EXPECT_THAT(log.texts(),
              ElementsAre(">data2Utf8", "\tl_utf8_data is valid UTF8 string", "<data2Utf8"));
}

TEST_F(CharacterSetTest, LogsInvalidUtf8AsAnError) {
  const LogRecorder log;
  EXPECT_EQ(Converted("a\x80z", CHARSET_UTF8), "a");
  EXPECT_THAT(log.lines(), Contains(RecordedLine{"VCARD Parser", "CARD_Parser", 2,
                                                 "\tl_utf8_data is not valid UTF8 string: a"}));
  EXPECT_THAT(log.texts(5), ElementsAre(">data2Utf8", "<data2Utf8"));
}

TEST_F(CharacterSetTest, WritesTheErrorWithTracingOff) {
  const LogRecorder log(0);
  Converted("\x80", CHARSET_UTF8);
  EXPECT_THAT(log.texts(), ElementsAre("\tl_utf8_data is not valid UTF8 string: "));
}

TEST_F(CharacterSetTest, ConvertsLatin1ThroughItsOwnOperation) {
  const LogRecorder log;
  EXPECT_EQ(Converted("\xE9", CHARSET_ISO_8859_1), "\xC3\xA9");
  EXPECT_THAT(log.texts(), ElementsAre(">data2Utf8", ">latin12Utf8", "\tutf-8 length: 0",
                                       "<latin12Utf8", "<data2Utf8"));
}

TEST_F(CharacterSetTest, ConvertsNoOtherCharset) {
  const LogRecorder log;
  for (const auto charset : {CHARSET_NONE, CHARSET_UNKNOWN, CHARSET_ISO_8859_2}) {
    EXPECT_EQ(Converted("x", charset), "(null)");
    EXPECT_EQ(Converted(nullptr, charset), "(null)");
  }
  EXPECT_THAT(log.texts(), Not(Contains(::testing::StartsWith("\t"))));
}

TEST_F(CharacterSetTest, ConvertsNoNullText) {
  const LogRecorder log;
  EXPECT_EQ(Converted(nullptr, CHARSET_UTF8), "(null)");
  EXPECT_THAT(log.texts(5), Contains("\tInvalid parameter(s), charset=[2]"));
  EXPECT_EQ(Converted(nullptr, CHARSET_ISO_8859_1), "(null)");
  EXPECT_THAT(log.texts(5), Contains("\tInvalid parameter(s), charset=[3]"));
}

TEST_F(CharacterSetTest, KeepsEmptyText) {
  EXPECT_EQ(Converted("", CHARSET_UTF8), "");
  EXPECT_EQ(Converted("", CHARSET_ISO_8859_1), "");
}

// latin12Utf8

TEST_F(CharacterSetTest, MapsEveryLatin1ByteToItsCodePoint) {
  for (int byte = 1; byte < 256; ++byte) {
    const char text[] = {static_cast<char>(byte), '\0'};
    std::string expected(1, static_cast<char>(byte));
    if (byte >= 0x80) expected = {'\xC2', static_cast<char>(byte)};
    if (byte >= 0xC0) expected = {'\xC3', static_cast<char>(byte - 0x40)};
    EXPECT_EQ(FromLatin1(text), expected) << byte;
  }
}

TEST_F(CharacterSetTest, IgnoresTheGivenLength) {
  EXPECT_EQ(FromLatin1("longer than nothing"), "longer than nothing");
}

TEST_F(CharacterSetTest, ReturnsTheLengthOfTheResult) {
  int length = 7;
  const LogRecorder log;
  const auto* text = reinterpret_cast<const unsigned char*>("\xE9z");
  EXPECT_EQ(Taken(reinterpret_cast<char*>(reader.latin12Utf8(text, 2, &length))), "\xC3\xA9z");
  EXPECT_EQ(length, 3);
  EXPECT_THAT(log.texts(5), Contains("\tutf-8 length: 7"));
}

TEST_F(CharacterSetTest, AcceptsANullLength) {
  const LogRecorder log;
  EXPECT_EQ(FromLatin1("x"), "x");
  EXPECT_THAT(log.texts(5), Contains("\tutf-8 length: 0"));
}

// unicodeChar2Utf8

TEST_F(CharacterSetTest, EncodesCodePointsInTheStandardForm) {
  EXPECT_EQ(Encoded(0x41), "A");
  EXPECT_EQ(Encoded(0x7F), "\x7F");
  EXPECT_EQ(Encoded(0x80), "\xC2\x80");
  EXPECT_EQ(Encoded(0x7FF), "\xDF\xBF");
  EXPECT_EQ(Encoded(0x800), "\xE0\xA0\x80");
  EXPECT_EQ(Encoded(0x20AC), "\xE2\x82\xAC");
  EXPECT_EQ(Encoded(0xD7FF), "\xED\x9F\xBF");
  EXPECT_EQ(Encoded(0xE000), "\xEE\x80\x80");
  EXPECT_EQ(Encoded(0xFFFD), "\xEF\xBF\xBD");
  EXPECT_EQ(Encoded(0x10000), "\xF0\x90\x80\x80");
  EXPECT_EQ(Encoded(0x1F600), "\xF0\x9F\x98\x80");
  EXPECT_EQ(Encoded(0x10FFFF), "\xF4\x8F\xBF\xBF");
}

TEST_F(CharacterSetTest, EncodesZeroAsOneByte) { EXPECT_EQ(Encoded(0), std::string(1, '\0')); }

TEST_F(CharacterSetTest, RefusesWhatIsNoCharacter) {
  for (const unsigned int codePoint :
       {0xD800U, 0xDBFFU, 0xDC00U, 0xDFFFU, 0xFFFEU, 0xFFFFU, 0x110000U, 0xFFFFFFFFU}) {
    EXPECT_EQ(Encoded(codePoint), "-1") << codePoint;
    EXPECT_EQ(reader.unicodeChar2Utf8(codePoint, nullptr, 0), -1) << codePoint;
  }
}

TEST_F(CharacterSetTest, MeasuresTheLengthWithoutABuffer) {
  EXPECT_EQ(reader.unicodeChar2Utf8(0x7F, nullptr, 0), 1);
  EXPECT_EQ(reader.unicodeChar2Utf8(0x7FF, nullptr, 0), 2);
  EXPECT_EQ(reader.unicodeChar2Utf8(0xFFFD, nullptr, 0), 3);
  EXPECT_EQ(reader.unicodeChar2Utf8(0x10FFFF, nullptr, 0), 4);
}

TEST_F(CharacterSetTest, RequiresRoomInTheBuffer) {
  EXPECT_EQ(Encoded(0x41, 0), "-1");
  EXPECT_EQ(Encoded(0xE9, 1), "-1");
  EXPECT_EQ(Encoded(0xE9, 2), "\xC3\xA9");
  EXPECT_EQ(Encoded(0x20AC, 2), "-1");
  EXPECT_EQ(Encoded(0x10000, 3), "-1");
}

TEST_F(CharacterSetTest, LeavesASmallBufferUntouched) {
  unsigned char buffer[2] = {0x11, 0x22};
  EXPECT_EQ(reader.unicodeChar2Utf8(0x20AC, buffer, 2), -1);
  EXPECT_THAT(buffer, ElementsAre(0x11, 0x22));
}

// validateUTF8String

TEST_F(CharacterSetTest, AcceptsOneAndTwoByteCharacters) {
  ExpectValid("");
  ExpectValid("Doe");
  ExpectValid("\xC3\xA9\x7F\x01\xDF\xBF");
}

TEST_F(CharacterSetTest, AcceptsOverlongTwoByteForms) { ExpectValid("\xC0\x80\xC1\xBF"); }

TEST_F(CharacterSetTest, CutsAtALoneContinuationByte) {
  ExpectCut("\x80", "");
  ExpectCut("Doe\xBFJohn", "Doe");
}

TEST_F(CharacterSetTest, CutsAtTheThirdByteOfACharacter) {
  ExpectCut("a\xE2\x82\xACz", "a\xE2\x82");
}

TEST_F(CharacterSetTest, AcceptsAThreeByteLeadWithOneFollower) {
  ExpectValid("\xE2\x82");
  ExpectValid(
      "\xEF\xBF"
      "a");
}

TEST_F(CharacterSetTest, CutsAtAFourByteLead) {
  ExpectCut("a\xF0\x9F\x98\x80", "a");
  ExpectCut("a\xF8\x80", "a");
  ExpectCut("a\xFF\x80", "a");
}

TEST_F(CharacterSetTest, CutsAtALeadByteWithoutAFollower) {
  ExpectCut("a\xC3z", "a");
  ExpectCut("a\xC3\xC3\xA9", "a");
  ExpectCut("a\xC3", "a");
  ExpectCut("a\xE2", "a");
}

TEST_F(CharacterSetTest, CutsAtTheFirstWrongByte) {
  std::string text =
      "a\x80"
      "b\x80";
  EXPECT_EQ(validateUTF8String(reinterpret_cast<unsigned char*>(text.data())), 0);
  EXPECT_EQ(text, std::string("a\0"
                              "b\x80",
                              4));
}

}  // namespace
}  // namespace test
