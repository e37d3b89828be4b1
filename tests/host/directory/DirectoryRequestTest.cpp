#include "host/directory/DirectoryRequest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using host::Column;
using host::DirectoryRefusal;
using host::DirectoryRequest;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

// What the telephone's card reader writes for a card with a name and one number.
const std::string kCard =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?><Schema name=\"PhoneBook\"><ReasonForMessage>"
    "write_request</ReasonForMessage><Entry><Surname>Doe</Surname><Firstname>John</Firstname>"
    "<Office>123</Office><DefaultNumber>1</DefaultNumber><Group>0</Group></Entry></Schema>";

class DirectoryRequestTest : public ::testing::Test {
 protected:
  static std::string Write(const std::string& elements) {
    return "<Schema name=\"PhoneBook\"><ReasonForMessage>write_request</ReasonForMessage><Entry>" +
           elements + "</Entry></Schema>";
  }
  static std::string Read(const std::string& columns, const std::string& elements) {
    return "<Schema name=\"PhoneBook\"><ReasonForMessage>read_request</ReasonForMessage>"
           "<ResultCols>" +
           columns + "</ResultCols><Entry>" + elements + "</Entry></Schema>";
  }
  static std::string Change(const std::string& kind, const std::string& elements) {
    return "<Schema name=\"PhoneBook\"><ReasonForMessage>" + kind +
           "_request</ReasonForMessage><Entry>" + elements + "</Entry></Schema>";
  }
  static std::string SurnameIn(const std::string& content) {
    return DirectoryRequest::parse(Write("<Surname>" + content + "</Surname><Group>0</Group>"))
        .entry()
        .front()
        .value;
  }
  static std::string ReasonAgainst(const std::string& text) {
    try {
      DirectoryRequest::parse(text);
    } catch (const DirectoryRefusal& refusal) {
      return refusal.what();
    }
    return "(taken)";
  }
  static void ExpectRefused(const std::string& text, const std::string& reason) {
    EXPECT_THAT(ReasonAgainst(text), HasSubstr(reason));
  }
};

TEST_F(DirectoryRequestTest, ParsesTheValuesOfAWriteRequestInOrder) {
  const DirectoryRequest request = DirectoryRequest::parse(kCard);
  ASSERT_EQ(request.kind(), DirectoryRequest::Kind::kWrite);
  ASSERT_EQ(request.entry().size(), 5u);
  EXPECT_EQ(request.entry()[0].column, Column::kSurname);
  EXPECT_EQ(request.entry()[0].value, "Doe");
  EXPECT_EQ(request.entry()[4].column, Column::kGroup);
  EXPECT_EQ(request.entry()[4].value, "0");
  EXPECT_THAT(request.resultColumns(), IsEmpty());
}

TEST_F(DirectoryRequestTest, ParsesTheColumnsOfAReadRequestInOrder) {
  const DirectoryRequest request =
      DirectoryRequest::parse(Read("Surname Id\tPicture\n Mobile", "<Mobile></Mobile>"));
  EXPECT_EQ(request.kind(), DirectoryRequest::Kind::kRead);
  EXPECT_THAT(request.resultColumns(),
              ElementsAre(Column::kSurname, Column::kId, Column::kPicture, Column::kMobile));
  ASSERT_EQ(request.entry().size(), 1u);
  EXPECT_EQ(request.entry().front().value, "");
}

TEST_F(DirectoryRequestTest, ParsesAnEmptyEntryInEveryNotation) {
  EXPECT_THAT(DirectoryRequest::parse(Read("Id", "")).entry(), IsEmpty());
  EXPECT_THAT(DirectoryRequest::parse(Read("Id", "\n  ")).entry(), IsEmpty());
  EXPECT_THAT(DirectoryRequest::parse("<Schema name=\"PhoneBook\"><ReasonForMessage>read_request"
                                      "</ReasonForMessage><ResultCols>Id</ResultCols><Entry/>"
                                      "</Schema>")
                  .entry(),
              IsEmpty());
}

TEST_F(DirectoryRequestTest, AcceptsElementsInAnyOrderWithWhiteSpace) {
  const DirectoryRequest request = DirectoryRequest::parse(
      "\xEF\xBB\xBF<?xml version='1.0' encoding='UTF-8'?>\n<Schema name='PhoneBook'>\n"
      "  <Entry>\n <Surname>Doe</Surname>\n </Entry>\n <ResultCols>Id</ResultCols>\n"
      "  <ReasonForMessage>read_request</ReasonForMessage>\n</Schema>\n");
  ASSERT_EQ(request.entry().size(), 1u);
  EXPECT_EQ(request.entry().front().value, "Doe");
}

TEST_F(DirectoryRequestTest, NeitherTrimsNorNormalisesValues) {
  EXPECT_EQ(SurnameIn(" \t Doe \n"), " \t Doe \n");
  EXPECT_EQ(SurnameIn("  "), "  ");
  EXPECT_EQ(SurnameIn("\n"), "\n");
  EXPECT_EQ(SurnameIn("a\r\nb\rc"), "a\r\nb\rc");
  EXPECT_EQ(SurnameIn("a]]>b"), "a]]>b");
}

TEST_F(DirectoryRequestTest, KeepsBytesThatAreNotText) {
  EXPECT_EQ(SurnameIn("\x01\x1F\x7F"), "\x01\x1F\x7F");
  EXPECT_EQ(SurnameIn("cut \xE2\x82"), "cut \xE2\x82");
  EXPECT_EQ(SurnameIn("\xFF\xFE\x80"), "\xFF\xFE\x80");
}

TEST_F(DirectoryRequestTest, ResolvesReferencesOnce) {
  EXPECT_EQ(SurnameIn("A&amp;B&lt;C&gt;&apos;&quot;"), "A&B<C>'\"");
  EXPECT_EQ(SurnameIn("&amp;amp; &amp;#65;"), "&amp; &#65;");
  EXPECT_EQ(SurnameIn("&#65;&#x42;&#x1;&#13;&#xE9;&#x1F600;"), "AB\x01\r\xC3\xA9\xF0\x9F\x98\x80");
}

TEST_F(DirectoryRequestTest, RefusesAReferenceToAnInvalidCharacter) {
  for (const char* reference :
       {"&#0;", "&#x0;", "&#00000;", "&#x100000000;", "&#x100000041;", "&#4294967361;", "&#xD800;",
        "&#xDFFF;", "&#x110000;", "&#;", "&#x;", "&#-1;", "&#+1;", "&#xG;", "&#X41;", "&#x 1;"})
    ExpectRefused(Write("<Surname>a" + std::string(reference) + "b</Surname>"), "an \"&\"");
}

TEST_F(DirectoryRequestTest, RefusesAnUnknownReference) {
  for (const char* text : {"&", "a & b", "&lol;", "&amp", "&AMP;", "&nbsp;", "&;", "&&amp;"})
    ExpectRefused(Write("<Surname>" + std::string(text) + "</Surname>"), "an \"&\"");
}

TEST_F(DirectoryRequestTest, RefusesANulByte) {
  const std::string text = Write("<Surname>a</Surname>");
  for (std::size_t at = 0; at <= text.size(); ++at) {
    std::string with = text;
    with.insert(at, 1, '\0');
    EXPECT_NE(ReasonAgainst(with), "(taken)") << at;
  }
  ExpectRefused(Write("<Surname>a" + std::string(1, '\0') + "b</Surname>"), "NUL");
}

TEST_F(DirectoryRequestTest, RefusesWhatTheParserWouldDrop) {
  ExpectRefused(Write("<Surname>D<!-- x -->oe</Surname>"), "Comments, CDATA");
  ExpectRefused(Write("<Surname><![CDATA[Doe]]></Surname>"), "Comments, CDATA");
  ExpectRefused(Write("<Surname>D<?php x ?>oe</Surname>"), "Processing instructions");
  ExpectRefused(Write("<Surname>D<b>o</b>e</Surname>"), "where only text is allowed");
  ExpectRefused(Write("<Surname><b></b></Surname>"), "where only text is allowed");
  ExpectRefused(Write("<Surname>Doe</Surname>stray"), "text outside");
  ExpectRefused(Write("<Surname lang=\"de\">Doe</Surname>"), "attribute");
  ExpectRefused(kCard + "stray", "text outside");
  ExpectRefused("stray" + kCard, "");
}

TEST_F(DirectoryRequestTest, RefusesDocumentTypes) {
  ExpectRefused(
      "<!DOCTYPE lolz [<!ENTITY lol \"lol\"><!ENTITY lol2 \"&lol;&lol;&lol;&lol;&lol;\">]>" +
          Write("<Surname>&lol2;</Surname>"),
      "document types");
  ExpectRefused("<!DOCTYPE a SYSTEM \"file:///etc/passwd\">" + kCard, "document types");
}

TEST_F(DirectoryRequestTest, RefusesOtherEncodings) {
  for (const char* name : {"iso-8859-1", "utf-16", "utf8", ""})
    ExpectRefused("<?xml version=\"1.0\" encoding=\"" + std::string(name) + "\"?>" +
                      Write("<Surname>\xE9</Surname>"),
                  "encoding");
}

TEST_F(DirectoryRequestTest, RefusesEveryTruncatedRequest) {
  for (std::size_t length = 0; length < kCard.size(); ++length)
    EXPECT_NE(ReasonAgainst(kCard.substr(0, length)), "(taken)") << length;
}

TEST_F(DirectoryRequestTest, RefusesWhatIsNotXml) {
  for (const char* text : {"", " ", "hello", "{\"a\":1}", "<", ">", "<>", "</Schema>", "<Schema",
                           "<Schema name=\"PhoneBook\">", "<a></b>", "<a b>c</a>", "<a b=c>d</a>",
                           "\xFF\xFE<\x01", "\xEF\xBB\xBF"})
    EXPECT_NE(ReasonAgainst(text), "(taken)") << text;
}

TEST_F(DirectoryRequestTest, RefusesAnotherSchema) {
  ExpectRefused("<Schema name=\"Calendar\"></Schema>", "PhoneBook");
  ExpectRefused("<Schema></Schema>", "PhoneBook");
  ExpectRefused("<Schema name=\"PhoneBook\" other=\"x\"></Schema>", "PhoneBook");
  ExpectRefused("<Scheme name=\"PhoneBook\"></Scheme>", "not a single Schema");
  ExpectRefused(kCard + "<Schema name=\"PhoneBook\"/>", "not a single Schema");
}

TEST_F(DirectoryRequestTest, RefusesAnUnknownReason) {
  const std::string rest = "<Entry><Surname>Doe</Surname></Entry></Schema>";
  const std::string start = "<Schema name=\"PhoneBook\">";
  ExpectRefused(start + rest, "no ReasonForMessage");
  for (const char* reason : {"", "change_request", "READ_REQUEST", " write_request", "failure"})
    ExpectRefused(start + "<ReasonForMessage>" + reason + "</ReasonForMessage>" + rest,
                  "must be read_request, write_request");
}

TEST_F(DirectoryRequestTest, RefusesUnknownAndRepeatedElements) {
  ExpectRefused(Write("<Nickname>x</Nickname>"), "not a column of the phonebook");
  ExpectRefused(Write("<surname>x</surname>"), "not a column of the phonebook");
  ExpectRefused(Write("<Entry>x</Entry>"), "not a column of the phonebook");
  ExpectRefused(Write("<Surname>a</Surname><Surname>b</Surname>"), "twice");
  ExpectRefused(Write("<Surname>a</Surname></Entry><Entry><Surname>b</Surname>"), "twice");
  ExpectRefused(Write("<Surname>a</Surname></Entry><Extra></Extra><Entry>"), "other than");
  ExpectRefused(Read("Surname Nickname", ""), "doesn't have");
  ExpectRefused(Read("Surname,Firstname", ""), "doesn't have");
  ExpectRefused(Read("Surname Id Surname", ""), "twice");
}

TEST_F(DirectoryRequestTest, RefusesMissingElements) {
  ExpectRefused(Read("", ""), "names no column");
  ExpectRefused(Read(" \n", ""), "names no column");
  ExpectRefused(Write(""), "has no values");
  ExpectRefused(Write("<Surname></Surname><Group></Group>"), "has no values");
  ExpectRefused(
      "<Schema name=\"PhoneBook\"><ReasonForMessage>write_request</ReasonForMessage></Schema>",
      "no Entry");
}

TEST_F(DirectoryRequestTest, AcceptsAnIdOnlyInReads) {
  EXPECT_EQ(DirectoryRequest::parse(Read("Id", "<Id>17</Id>")).entry().front().value, "17");
  for (const char* id : {"", " 1", "1a", "-1", "0x1", "9999999999999999999"})
    ExpectRefused(Read("Id", "<Id>" + std::string(id) + "</Id>"), "not a number");
  ExpectRefused(Write("<Id>1</Id><Surname>a</Surname>"), "An Id can't be written");
}

TEST_F(DirectoryRequestTest, RefusesResultColumnsInAWrite) {
  ExpectRefused(
      "<Schema name=\"PhoneBook\"><ReasonForMessage>write_request</ReasonForMessage>"
      "<ResultCols>Id</ResultCols><Entry><Surname>a</Surname></Entry></Schema>",
      "must not have ResultCols");
}

TEST_F(DirectoryRequestTest, RefusesDeepOrManyElements) {
  std::string deep;
  for (int i = 0; i < 1000000; ++i) deep += "<a>";
  ExpectRefused(deep, "more than 256 tags");
  std::string wide;
  for (int i = 0; i < 1000000; ++i) wide += "<Surname/>";
  ExpectRefused(Write(wide), "more than 256 tags");
}

TEST_F(DirectoryRequestTest, RefusesATagWithManyAttributes) {
  std::string attributes;
  for (int i = 0; i < 100000; ++i) attributes += " a" + std::to_string(i) + "='>'";
  ExpectRefused("<Schema" + attributes + "></Schema>", "doesn't end within");
}

TEST_F(DirectoryRequestTest, BoundsTheSizeOfARequest) {
  const std::size_t frame = Read("Id", "").size();
  const std::string blanks(host::DirectoryRequest::kMaxBytes - frame, ' ');
  EXPECT_THAT(DirectoryRequest::parse(Read("Id" + blanks, "")).resultColumns(),
              ElementsAre(Column::kId));
  ExpectRefused(Read("Id" + blanks + " ", ""), "larger than 32 MiB");
}

TEST_F(DirectoryRequestTest, BoundsTheSizeOfAnEntry) {
  const std::string half(DirectoryRequest::kMaxEntryBytes / 2, 'x');
  const std::string both = "<Surname>" + half + "</Surname><Mobile>" + half + "</Mobile>";
  EXPECT_EQ(DirectoryRequest::parse(Write(both)).entry().size(), 2u);
  ExpectRefused(Write(both + "<Group>0</Group>"), "larger than 8 MiB");
}

TEST_F(DirectoryRequestTest, DoesNotEchoTheRequestInARefusal) {
  for (const std::string& text :
       {Write("<Surname>Zyzzy</Surname><Zyzzy>Zyzzy</Zyzzy>"), Write("<Surname>Zyzzy</Surnam>"),
        Write("<Surname>Zyzzy&Zyzzy;</Surname>"), Read("Zyzzy", ""), Read("Id", "<Id>Zyzzy</Id>")})
    EXPECT_THAT(ReasonAgainst(text), ::testing::Not(HasSubstr("Zyzzy")));
}

TEST_F(DirectoryRequestTest, ParsesOrRefusesARequestWithAnyByteChanged) {
  for (std::size_t at = 0; at < kCard.size(); ++at) {
    for (int byte = 0; byte < 256; ++byte) {
      std::string text = kCard;
      text[at] = static_cast<char>(byte);
      try {
        const DirectoryRequest request = DirectoryRequest::parse(text);
        for (const host::ColumnValue& value : request.entry())
          ASSERT_EQ(value.value.find('\0'), std::string::npos);
      } catch (const DirectoryRefusal& refusal) {
        ASSERT_STRNE(refusal.what(), "");
      }
    }
  }
}

TEST_F(DirectoryRequestTest, ParsesTheIdAndTextsOfAnUpdate) {
  const DirectoryRequest request = DirectoryRequest::parse(
      Change("update", "<Surname>Doe</Surname><Id>17</Id><Mobile></Mobile>"));
  EXPECT_EQ(request.kind(), DirectoryRequest::Kind::kUpdate);
  EXPECT_EQ(request.id(), 17);
  ASSERT_EQ(request.entry().size(), 2u);
  EXPECT_EQ(request.entry()[0].column, Column::kSurname);
  EXPECT_EQ(request.entry()[1].column, Column::kMobile);
  EXPECT_EQ(request.entry()[1].value, "");
}

TEST_F(DirectoryRequestTest, ParsesTheIdOfADelete) {
  const DirectoryRequest request = DirectoryRequest::parse(Change("delete", "<Id>17</Id>"));
  EXPECT_EQ(request.kind(), DirectoryRequest::Kind::kDelete);
  EXPECT_EQ(request.id(), 17);
  EXPECT_THAT(request.entry(), IsEmpty());
}

TEST_F(DirectoryRequestTest, IgnoresLeadingZerosOfAnId) {
  EXPECT_EQ(DirectoryRequest::parse(Change("delete", "<Id>0017</Id>")).id(), 17);
  EXPECT_EQ(DirectoryRequest::parse(Change("delete", "<Id>999999999999999999</Id>")).id(),
            999999999999999999);
}

TEST_F(DirectoryRequestTest, RefusesAnIdThatIsNotANumber) {
  for (const char* id : {"", " ", " 17", "17 ", "-1", "+1", "1.0", "0x11", "1e1", "17;18", "１",
                         "9223372036854775808", "0000000000000000017", "*"}) {
    const std::string element = std::string("<Id>") + id + "</Id>";
    ExpectRefused(Change("delete", element), "The Id is not a number");
    ExpectRefused(Change("update", element + "<Surname>a</Surname>"), "The Id is not a number");
  }
}

TEST_F(DirectoryRequestTest, RefusesAChangeWithoutExactlyOneId) {
  for (const char* kind : {"update", "delete"}) {
    ExpectRefused(Change(kind, "<Surname>Doe</Surname>"), "has no Id");
    ExpectRefused(Change(kind, ""), "has no Id");
    ExpectRefused(Change(kind, "<Id>1</Id><Id>2</Id>"), "contains an element twice");
  }
}

TEST_F(DirectoryRequestTest, RefusesADeleteWithMoreThanAnId) {
  ExpectRefused(Change("delete", "<Id>17</Id><Surname>Doe</Surname>"), "an Id only");
  ExpectRefused(Change("delete", "<Id>17</Id><Surname/>"), "an Id only");
  ExpectRefused(Change("delete", "<Id>17</Id>all"), "text outside");
}

TEST_F(DirectoryRequestTest, RefusesAnUpdateWithoutTexts) {
  ExpectRefused(Change("update", "<Id>17</Id>"), "no text to replace");
}

TEST_F(DirectoryRequestTest, RefusesResultColumnsInAChange) {
  for (const char* kind : {"update", "delete"}) {
    const std::string request = Change(kind, "<Id>17</Id>");
    const std::string columns = "<ResultCols>Id</ResultCols><Entry>";
    std::string with = request;
    with.replace(with.find("<Entry>"), 7, columns);
    if (std::string(kind) == "update") with.insert(with.find("</Entry>"), "<Office>1</Office>");
    ExpectRefused(with, "must not have ResultCols");
  }
}

}  // namespace
