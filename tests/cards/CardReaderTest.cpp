#include "cards/CardReader.h"

#include <gtest/gtest.h>

namespace {

using cards::CardReading;

CardReading read(const std::string& text) {
  cards::DiscardedPictures pictures;
  return cards::readCard(text, pictures);
}

/// A card with these lines between its first and its last.
std::string card(const std::string& lines) { return "BEGIN:VCARD\n" + lines + "END:VCARD\n"; }

class RefusedPictures : public OBEXStorage {
 public:
  int writeFile(const char*, int, const std::string&) override { return 0; }
};

}  // namespace

TEST(CardReader, NamesThePropertyOutsideOfACard) {
  EXPECT_EQ(read("N:Doe\n").error, "property N is outside of BEGIN:VCARD and END:VCARD");
  EXPECT_EQ(read(":Doe\n").error,
            "a property without a name is outside of BEGIN:VCARD and END:VCARD");
  EXPECT_EQ(read(card("") + "TEL:1\n").error,
            "property TEL is outside of BEGIN:VCARD and END:VCARD");
}

TEST(CardReader, NamesAnotherKindOfObject) {
  EXPECT_EQ(read("BEGIN:VCALENDAR\nX:1\n").error,
            "it is not a vCard: it begins another kind of object");
}

TEST(CardReader, NamesThePropertyWithAnUnsupportedCharacterSet) {
  for (const char* charset : {"KOI8-R", "ISO-8859-2", ""}) {
    EXPECT_EQ(read(card("N:x\nORG;CHARSET=" + std::string(charset) + "y:z\n")).error,
              "property ORG has an unsupported character set (supported: UTF-8, ISO-8859-1)");
  }
}

TEST(CardReader, NamesThePropertyWithInvalidBase64) {
  EXPECT_EQ(read(card("N:x\nPHOTO;TYPE=JPEG;ENCODING=BASE64:A\n\n")).error,
            "property PHOTO has invalid BASE64 data");
}

TEST(CardReader, NamesThePropertyBeforeAnEmptyParameter) {
  EXPECT_EQ(read("BEGIN;:VCARD\n").error, "its first property has an empty parameter");
  EXPECT_EQ(read(card("N:x\nTEL;:1\n")).error,
            "the property after property N has an empty parameter");
  EXPECT_EQ(read(card("TEL;X=;HOME:1\n")).error,
            "the property after property BEGIN has an empty parameter");
}

TEST(CardReader, NamesAPictureThatCannotBeStored) {
  RefusedPictures pictures;
  EXPECT_EQ(cards::readCard(card("N:x\nPHOTO;TYPE=JPEG;ENCODING=BASE64:QUJD\n\n"), pictures).error,
            "its picture can't be stored (invalid name, or the folder is not writable or is full)");
}

TEST(CardReader, CountsTruncatedTexts) {
  EXPECT_EQ(read(card("N;CHARSET=UTF-8:5 \u20ac\nORG;CHARSET=UTF-8:\u20ac\n")).truncatedTexts, 2);
  EXPECT_EQ(read(card("N;CHARSET=UTF-8:Mu\u00f1oz\nORG:\u20ac\n")).truncatedTexts, 0);
}

TEST(CardReader, IgnoresTextsThatThePhoneDoesNotKeep) {
  EXPECT_EQ(read(card("BEGIN:VCARD\nN;CHARSET=UTF-8:\u20ac\nEND:VCARD\n")).truncatedTexts, 0);
  EXPECT_EQ(read(card("NOTE;CHARSET=UTF-8:\u20ac\nFN;CHARSET=UTF-8:\u20ac\n"
                      "EMAIL;X400;CHARSET=UTF-8:\u20ac\nORG:x\nORG;CHARSET=UTF-8:\u20ac\n"))
                .truncatedTexts,
            0);
  EXPECT_EQ(
      read(card("ADR:x\nADR;CHARSET=UTF-8:\u20ac\nADR;CHARSET=UTF-8:\u20ac\n")).truncatedTexts, 1);
}
