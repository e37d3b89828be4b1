// The card reader: the phonebook write message.

#include "tests/src/CardFixture.h"

namespace test {
namespace {

constexpr const char* kBefore =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?><Schema name=\"PhoneBook\">"
    "<ReasonForMessage>write_request</ReasonForMessage><Entry>";
constexpr const char* kAfter = "<Group>0</Group></Entry></Schema>";

class PhoneBookMessageTest : public CardTest {
 protected:
  /// Expects these elements in front of the group, which every message has.
  void ExpectMessage(const std::string& elements) {
    EXPECT_EQ(Message(), kBefore + elements + kAfter);
  }
};

TEST_F(PhoneBookMessageTest, WritesOnlyTheGroupForAnEmptyCard) {
  FeedCard("VERSION:2.1\nFN:nothing");
  ExpectMessage("");
}

TEST_F(PhoneBookMessageTest, WritesAMessageWithoutACard) { ExpectMessage(""); }

TEST_F(PhoneBookMessageTest, WritesANameAndANumber) {
  FeedCard("N:Doe;John\nTEL:123");
  EXPECT_EQ(Message(),
            "<?xml version=\"1.0\" encoding=\"utf-8\"?><Schema name=\"PhoneBook\">"
            "<ReasonForMessage>write_request</ReasonForMessage><Entry><Surname>Doe</Surname>"
            "<Firstname>John</Firstname><Office>123</Office><DefaultNumber>1</DefaultNumber>"
            "<Group>0</Group></Entry></Schema>");
}

TEST_F(PhoneBookMessageTest, WritesElementsInOrder) {
  FeedCard(
      "PHOTO;TYPE=GIF;BASE64:QUJD\nTITLE:j\nORG:c\nADR:a1\nADR:a2\nEMAIL:e\nTEL;HOME:4\n"
      "TEL;CELL:3\nTEL;WORK:1\nTEL;WORK:2\nN:s;f");
  ExpectMessage(
      "<Surname>s</Surname><Firstname>f</Firstname><Office>1</Office><Office2>2</Office2>"
      "<Mobile>3</Mobile><Private>4</Private><Email>e</Email><Address>a1</Address>"
      "<Address2>a2</Address2><Company>c</Company><JobFunction>j</JobFunction>"
      "<DefaultNumber>2</DefaultNumber><Picture>photosf.gif</Picture>");
}

TEST_F(PhoneBookMessageTest, WritesThePreferredNumberAsDefault) {
  FeedCard("TEL:1\nTEL;HOME;PREF:9");
  ExpectMessage("<Office>1</Office><Private>9</Private><DefaultNumber>4</DefaultNumber>");
}

TEST_F(PhoneBookMessageTest, WritesNoDefaultForADroppedNumber) {
  FeedCard("TEL;FAX:1");
  ExpectMessage("");
}

TEST_F(PhoneBookMessageTest, NamesTheGivenEncoding) {
  EXPECT_TRUE(reader.getPhoneBookWriteMessage("a\"<b").starts_with(
      "<?xml version=\"1.0\" encoding=\"a\"<b\"?><Schema"));
}

TEST_F(PhoneBookMessageTest, WritesTheSameMessageTwice) {
  FeedCard("N:Doe;John\nTEL:1");
  const std::string first = Message();
  EXPECT_EQ(Message(), first);
}

TEST_F(PhoneBookMessageTest, KeepsTheMessageInTheReader) {
  const std::string& message = Message();
  EXPECT_EQ(&Message(), &message);
}

TEST_F(PhoneBookMessageTest, ClearsTheMessageAndNothingElse) {
  FeedCard("N:Doe\nTEL:1");
  const std::string& message = Message();
  const std::string before = message;
  reader.clearBuffers();
  EXPECT_EQ(message, "");
  EXPECT_EQ(Message(), before);
}

TEST_F(PhoneBookMessageTest, TracesTheEntryBeforeItsFrame) {
  FeedCard("PHOTO;TYPE=GIF:x");
  const LogRecorder log;
  Message();
  std::vector<std::string> entries = log.texts();
  std::erase_if(entries, [](const std::string& text) { return text.starts_with('<'); });
  std::vector<std::string> expected(19, ">addProperty");
  expected[0] = ">getPhoneBookWriteMessage";
  expected[13] = ">getPhotoFilename";
  EXPECT_EQ(entries, expected);
}

// Escaping

TEST_F(PhoneBookMessageTest, EscapesTheFiveSpecialCharacters) {
  FeedCard("N:O'Neil\nORG:A&B<C>\nTITLE:\"x\"");
  ExpectMessage(
      "<Surname>O&apos;Neil</Surname><Company>A&amp;B&lt;C&gt;</Company>"
      "<JobFunction>&quot;x&quot;</JobFunction>");
}

TEST_F(PhoneBookMessageTest, EscapesASpecialCharacterAnywhereInALongText) {
  for (const auto& [character, entity] :
       {std::pair('&', "&amp;"), std::pair('<', "&lt;"), std::pair('>', "&gt;"),
        std::pair('\'', "&apos;"), std::pair('"', "&quot;")}) {
    for (std::size_t place = 0; place <= 150; ++place) {
      const std::string before(place, 'x');
      const std::string behind(150 - place, 'y');
      EXPECT_EQ(reader.addProperty("a", before + character + behind, "", 0, true),
                "<a>" + before + entity + behind + "</a>");
    }
  }
}

TEST_F(PhoneBookMessageTest, EscapesAnEntityAgain) {
  FeedCard("ORG:&amp;&lt;");
  ExpectMessage("<Company>&amp;amp;&amp;lt;</Company>");
}

TEST_F(PhoneBookMessageTest, EscapesEveryField) {
  FeedCard(
      "PHOTO;TYPE=GIF:x\nN:&1;&2\nTEL;WORK:&3\nTEL;WORK:&4\nTEL;CELL:&5\nTEL;HOME:&6\nEMAIL:&7\n"
      "ADR:&8\nADR:&9\nORG:&10\nTITLE:&11");
  ExpectMessage(
      "<Surname>&amp;1</Surname><Firstname>&amp;2</Firstname><Office>&amp;3</Office>"
      "<Office2>&amp;4</Office2><Mobile>&amp;5</Mobile><Private>&amp;6</Private>"
      "<Email>&amp;7</Email><Address>&amp;8</Address><Address2>&amp;9</Address2>"
      "<Company>&amp;10</Company><JobFunction>&amp;11</JobFunction>"
      "<DefaultNumber>2</DefaultNumber><Picture>photo&amp;1&amp;2.gif</Picture>");
}

TEST_F(PhoneBookMessageTest, KeepsMarkupOfACardAsText) {
  FeedCard("N:</Surname><Group>9</Group>");
  ExpectMessage("<Surname>&lt;/Surname&gt;&lt;Group&gt;9&lt;/Group&gt;</Surname>");
}

// One element

TEST_F(PhoneBookMessageTest, WritesNoElementForAnEmptyValue) {
  EXPECT_EQ(reader.addProperty("a", "", "b=\"c\"", 5, true), "");
}

TEST_F(PhoneBookMessageTest, WritesAttributes) {
  EXPECT_EQ(reader.addProperty("a", "x", "", 0, false), "<a>x</a>");
  EXPECT_EQ(reader.addProperty("a", "x", "b=\"c\"", 0, false), "<a b=\"c\">x</a>");
}

TEST_F(PhoneBookMessageTest, EscapesOnlyTheValueAndOnlyOnRequest) {
  EXPECT_EQ(reader.addProperty("a&", "<&>", "b=\"c\"", 0, true), "<a& b=\"c\">&lt;&amp;&gt;</a&>");
  EXPECT_EQ(reader.addProperty("a", "<&'>\"", "", 0, false), "<a><&'>\"</a>");
}

TEST_F(PhoneBookMessageTest, CutsALongValue) {
  EXPECT_EQ(reader.addProperty("a", "0123456789", "", 8, false), "<a>01234...</a>");
  EXPECT_EQ(reader.addProperty("a", "0123456789", "", 9, false), "<a>012345...</a>");
  EXPECT_EQ(reader.addProperty("a", "0123456789", "", 3, false), "<a>...</a>");
}

TEST_F(PhoneBookMessageTest, KeepsAValueOfMaximumLength) {
  EXPECT_EQ(reader.addProperty("a", "0123456789", "", 10, false), "<a>0123456789</a>");
  EXPECT_EQ(reader.addProperty("a", "0123456789", "", 0, false), "<a>0123456789</a>");
}

TEST_F(PhoneBookMessageTest, CutsBeforeItEscapes) {
  EXPECT_EQ(reader.addProperty("a", "<<<<<<", "", 5, true), "<a>&lt;&lt;...</a>");
}

TEST_F(PhoneBookMessageTest, CountsBytesWhenItCuts) {
  EXPECT_EQ(reader.addProperty("a", "\xC3\xA9\xC3\xA9\xC3\xA9", "", 4, false), "<a>\xC3...</a>");
}

}  // namespace
}  // namespace test
