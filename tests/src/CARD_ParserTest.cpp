// The card reader: which property goes to which field, and which number to which slot.

#include <cstdlib>
#include <functional>
#include <optional>

#include "tests/src/CardFixture.h"

namespace test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Not;
using namespace std::string_literals;

constexpr const char* kIgnoring =
    "\tIgnoring preferred number phone number since it;s neitheroffice or office2 number.";

// BEGIN and END

TEST_F(CardTest, FailsOnAPropertyBeforeBegin) {
  const LogRecorder log;
  FeedAndFail("N:Doe\nBEGIN:VCARD\nEND:VCARD\n");
  EXPECT_THAT(log.texts(5), Contains("\tNo BEGIN specified"));
}

TEST_F(CardTest, FailsOnAPropertyBehindEnd) { FeedAndFail("BEGIN:VCARD\nEND:VCARD\nN:Doe\n"); }

TEST_F(CardTest, AcceptsEndAlone) { Feed("END:VCARD\n"); }

TEST_F(CardTest, AcceptsAnEmptyBody) { Feed(""); }

TEST_F(CardTest, FailsOnBeginOfAnotherObject) { FeedAndFail("BEGIN:VCALENDAR\nEND:VCALENDAR\n"); }

TEST_F(CardTest, FailsOnASpaceBehindBegin) { FeedAndFail("BEGIN:VCARD \nN:Doe\n"); }

TEST_F(CardTest, AcceptsBeginInAnyCase) {
  Feed("begin:vCard\nn:Doe\nEnd:vcard\n");
  ExpectEntry("Surname", "Doe");
}

TEST_F(CardTest, AcceptsBeginWithoutData) {
  Feed("BEGIN:\nN:Doe\nEND:VCARD\n");
  ExpectEntry("Surname", "Doe");
}

TEST_F(CardTest, AcceptsAMissingEnd) {
  Feed("BEGIN:VCARD\nN:Doe");
  ExpectEntry("Surname", "Doe");
}

TEST_F(CardTest, IgnoresTheDataOfEnd) { Feed("BEGIN:VCARD\nN:Doe\nEND:VTODO\n"); }

TEST_F(CardTest, IgnoresANestedCard) {
  const LogRecorder log;
  FeedCard("BEGIN:VCARD\nN:Inner\nPHOTO;TYPE=GIF;BASE64:QUJD\nN;CHARSET=x:y\nEND:VCARD\nN:Outer");
  ExpectEntry("Surname", "Outer");
  ExpectPhotos({});
  EXPECT_THAT(log.texts(5), Contains("\tNo nested vCards supported!"));
}

TEST_F(CardTest, IgnoresTheDataOfANestedBegin) {
  FeedCard("BEGIN:VTODO\nEND:VTODO\nN:Doe");
  ExpectEntry("Surname", "Doe");
}

TEST_F(CardTest, IgnoresPropertiesAfterASurplusEnd) {
  const LogRecorder log;
  Feed("END:VCARD\nN:Doe\n");
  ExpectNoEntry("Surname");
  EXPECT_EQ(log.count("\tNo nested vCards supported!"), 3);
}

TEST_F(CardTest, BeginsNoCardAfterASurplusEnd) {
  FeedAndFail("END:VCARD\nBEGIN:VTODO\nN:Doe\n");
  ExpectNoEntry("Surname");
}

TEST_F(CardTest, MergesTwoCardsOfOneBody) {
  Feed("BEGIN:VCARD\nN:Doe\nTEL:1\nEND:VCARD\nBEGIN:VCARD\nN:Roe;Jane\nTEL:2\nEND:VCARD\n");
  ExpectEntry("Surname", "Doe");
  ExpectEntry("Firstname", "Jane");
  ExpectEntry("Office", "1");
  ExpectEntry("Office2", "2");
}

TEST_F(CardTest, IgnoresGroups) {
  FeedCard("item1.N:Doe\nA.TEL;CELL:1");
  ExpectEntry("Surname", "Doe");
  ExpectEntry("Mobile", "1");
}

TEST_F(CardTest, TakesTheGroupForTheNameAfterARefusal) {
  Feed("BEGIN.N;A=b:c:VCARD\nN:Doe\n");
  ExpectEntry("Surname", "Doe");
}

TEST_F(CardTest, FailsOnBrokenBase64) { FeedCardAndFail("N:Doe\nPHOTO;BASE64:Q\n"); }

// Text

TEST_F(CardTest, SplitsTheName) {
  FeedCard("N:Doe;John;Q.;Mr.;Jr.");
  ExpectEntry("Surname", "Doe");
  ExpectEntry("Firstname", "John");
}

TEST_F(CardTest, TakesANameOfOnePartForTheSurname) {
  FeedCard("N:Doe");
  ExpectEntry("Surname", "Doe");
  ExpectNoEntry("Firstname");
}

TEST_F(CardTest, KeepsAFirstNameWithoutASurname) {
  FeedCard("N:;John");
  ExpectNoEntry("Surname");
  ExpectEntry("Firstname", "John");
}

TEST_F(CardTest, PassesOverAnEmptyFirstName) {
  FeedCard("N:Doe;;John");
  ExpectEntry("Firstname", "John");
}

TEST_F(CardTest, FillsOnlyEmptyNamesFromASecondOne) {
  FeedCard("N:;John\nN:Doe;Jack");
  ExpectEntry("Surname", "Doe");
  ExpectEntry("Firstname", "John");
}

TEST_F(CardTest, IgnoresTheFormattedName) {
  FeedCard("FN:John Doe");
  EXPECT_THAT(Message(), Not(::testing::HasSubstr("Doe")));
}

TEST_F(CardTest, KeepsTheFirstValueOfATextField) {
  FeedCard("EMAIL:a\nEMAIL:b\nTITLE:c\nTITLE:d\nORG:e\nORG:f");
  ExpectEntry("Email", "a");
  ExpectEntry("JobFunction", "c");
  ExpectEntry("Company", "e");
}

TEST_F(CardTest, DoesNotConvertASecondValue) {
  FeedCard(
      "EMAIL:a\nEMAIL;INTERNET;CHARSET=x:b\nTITLE:c\nTITLE;CHARSET=x:d\nORG:e\nORG;CHARSET=x:f");
  ExpectEntry("Email", "a");
}

TEST_F(CardTest, ConvertsASecondName) { FeedCardAndFail("N:Doe;John\nN;CHARSET=x:y"); }

TEST_F(CardTest, KeepsTwoWholeAddresses) {
  FeedCard("ADR:;;Street 1;Town\nADR;HOME:b;c\nADR:third\nADR;CHARSET=x:fourth");
  ExpectEntry("Address", ";;Street 1;Town");
  ExpectEntry("Address2", "b;c");
}

TEST_F(CardTest, KeepsTheUnitsOfACompany) {
  FeedCard("ORG:Acme;Sales");
  ExpectEntry("Company", "Acme;Sales");
}

TEST_F(CardTest, AcceptsPropertyNamesInAnyCase) {
  FeedCard("n:Doe\nTel;Cell:1\ntitle:Boss\nOrg:Acme\nadr:x\nemail;internet:y\nphoto;type=gif:z");
  for (const char* name :
       {"Surname", "Mobile", "JobFunction", "Company", "Address", "Email", "Picture"}) {
    EXPECT_THAT(Message(), ::testing::HasSubstr("<" + std::string(name) + ">"));
  }
}

TEST_F(CardTest, IgnoresOtherProperties) {
  FeedCard("NOTE:a\nX-THING;CHARSET=x:b\nNAME:c\nTELEX:d\nREV:e\n:f");
  EXPECT_THAT(Message(), ::testing::HasSubstr("<Entry><Group>0</Group></Entry>"));
}

TEST_F(CardTest, ForgetsTheKindOfTheLastProperty) {
  FeedCard("N:Doe\nX-THING:Roe;Jane");
  ExpectNoEntry("Firstname");
}

TEST_F(CardTest, TakesAPlainEmail) {
  FeedCard("EMAIL:x@y");
  ExpectEntry("Email", "x@y");
}

TEST_F(CardTest, TakesAnEmailWithInternetFirst) {
  FeedCard("EMAIL;INTERNET;PREF:x@y");
  ExpectEntry("Email", "x@y");
}

TEST_F(CardTest, IgnoresAnEmailWithAnotherParameterFirst) {
  FeedCard("EMAIL;CHARSET=UTF-8:a\nEMAIL;PREF;INTERNET:b\nEMAIL;TYPE=INTERNET:c\nEMAIL;X400:d");
  ExpectNoEntry("Email");
}

TEST_F(CardTest, AcceptsAnIgnoredEmailInAnyCharacterSet) { FeedCard("EMAIL;CHARSET=x:a"); }

TEST_F(CardTest, AcceptsAnyVersion) {
  const LogRecorder log;
  FeedCard("VERSION:2.1\nVERSION:3.0\nVERSION:99");
  EXPECT_THAT(log.texts(5), Contains("\tvCard version: [99]"));
}

TEST_F(CardTest, EndsTextAtAZeroByte) {
  Feed(Card("N:Do\0e\nTEL:1\0002\nORG;ENCODING=QUOTED-PRINTABLE:A=00B"s));
  ExpectEntry("Surname", "Do");
  ExpectEntry("Office", "1");
  ExpectEntry("Company", "A");
}

// Telephone numbers

TEST_F(CardTest, FillsTheSlotsWithPlainNumbersInOrder) {
  FeedCard("TEL:1\nTEL:2\nTEL:3\nTEL:4\nTEL:5");
  ExpectEntry("Office", "1");
  ExpectEntry("Office2", "2");
  ExpectEntry("Mobile", "3");
  ExpectEntry("Private", "4");
  ExpectEntry("DefaultNumber", "2");
  EXPECT_THAT(Message(), Not(::testing::HasSubstr(">5<")));
}

TEST_F(CardTest, MakesAWorkNumberTheDefaultAfterAMobileOne) {
  FeedCard("TEL;CELL:7\nTEL;WORK:8");
  ExpectEntry("Mobile", "7");
  ExpectEntry("Office", "8");
  ExpectEntry("DefaultNumber", "1");
}

TEST_F(CardTest, PrefersOfficeToMobileToPrivateAsDefault) {
  FeedCard("TEL;HOME:1\nTEL;CELL:2");
  ExpectEntry("DefaultNumber", "3");
}

TEST_F(CardTest, KeepsAMobileDefaultWhenAPrivateNumberComes) {
  FeedCard("TEL;CELL:1\nTEL;HOME:2");
  ExpectEntry("DefaultNumber", "3");
}

TEST_F(CardTest, KeepsAnOfficeDefaultWhenOtherNumbersCome) {
  FeedCard("TEL;WORK:1\nTEL;WORK:2\nTEL;CELL:3\nTEL;HOME:4");
  ExpectEntry("DefaultNumber", "2");
}

TEST_F(CardTest, MakesAPrivateNumberAloneTheDefault) {
  FeedCard("TEL;HOME:1");
  ExpectEntry("Private", "1");
  ExpectEntry("DefaultNumber", "4");
}

TEST_F(CardTest, MakesAPreferredNumberTheDefault) {
  FeedCard("TEL;WORK:1\nTEL;HOME;PREF:9\nTEL;WORK:2");
  ExpectEntry("Private", "9");
  ExpectEntry("DefaultNumber", "4");
}

TEST_F(CardTest, KeepsTheFirstPreferredNumber) {
  FeedCard("TEL;WORK;PREF:1\nTEL;CELL;PREF:2\nTEL;HOME;PREF:3\nTEL;WORK;PREF:4");
  ExpectEntry("Office", "1");
  ExpectEntry("Mobile", "2");
  ExpectEntry("Private", "3");
  ExpectEntry("Office2", "4");
  ExpectEntry("DefaultNumber", "1");
}

TEST_F(CardTest, PrefersASecondOfficeNumber) {
  FeedCard("TEL;WORK:1\nTEL;PREF:2");
  ExpectEntry("Office2", "2");
  ExpectEntry("DefaultNumber", "2");
}

TEST_F(CardTest, ReplacesAMobileNumberByAPreferredOne) {
  FeedCard("TEL;CELL:1\nTEL;CELL:2\nTEL;CELL;PREF:3\nTEL;CELL;PREF:4");
  ExpectEntry("Mobile", "3");
  ExpectEntry("DefaultNumber", "3");
}

TEST_F(CardTest, ReplacesAPrivateNumberByAPreferredOne) {
  FeedCard("TEL;HOME:1\nTEL;HOME:2\nTEL;HOME;PREF:3\nTEL;HOME;PREF:4");
  ExpectEntry("Private", "3");
  ExpectEntry("DefaultNumber", "4");
}

TEST_F(CardTest, ReplacesNothingOnceANumberIsPreferred) {
  FeedCard("TEL;WORK;PREF:1\nTEL;CELL:2\nTEL;CELL;PREF:3\nTEL;HOME:4\nTEL;HOME;PREF:5");
  ExpectEntry("Mobile", "2");
  ExpectEntry("Private", "4");
}

TEST_F(CardTest, DropsAThirdWorkNumberAndLogsIt) {
  const LogRecorder log;
  FeedCard("TEL;WORK:1\nTEL;WORK:2\nTEL;WORK:3");
  EXPECT_EQ(log.count(kIgnoring), 1);
  ExpectNoEntry("Mobile");
  ExpectEntry("DefaultNumber", "2");
}

TEST_F(CardTest, DropsAPreferredPlainNumberWhenTheOfficeSlotsAreFull) {
  const LogRecorder log;
  FeedCard("TEL:1\nTEL:2\nTEL;PREF:3");
  EXPECT_EQ(log.count(kIgnoring), 1);
  ExpectNoEntry("Mobile");
  ExpectEntry("DefaultNumber", "2");
}

TEST_F(CardTest, PutsASecondPreferredPlainNumberIntoTheMobileSlot) {
  FeedCard("TEL;PREF:1\nTEL:2\nTEL;PREF:3\nTEL;PREF:4");
  ExpectEntry("Mobile", "3");
  ExpectEntry("Private", "4");
  ExpectEntry("DefaultNumber", "1");
}

TEST_F(CardTest, DropsAPlainNumberWhenAllSlotsAreFull) {
  const LogRecorder log;
  FeedCard("TEL:1\nTEL:2\nTEL:3\nTEL:4\nTEL:5");
  EXPECT_EQ(log.count(kIgnoring), 0);
}

TEST_F(CardTest, StoresANumberOfSeveralKindsInSeveralSlots) {
  FeedCard("TEL;CELL;HOME;WORK:1");
  ExpectEntry("Office", "1");
  ExpectEntry("Mobile", "1");
  ExpectEntry("Private", "1");
  ExpectEntry("DefaultNumber", "1");
}

TEST_F(CardTest, PrefersTheOfficeSlotForANumberOfSeveralKinds) {
  FeedCard("TEL;CELL;HOME;PREF;WORK:1");
  ExpectEntry("DefaultNumber", "1");
}

TEST_F(CardTest, PrefersThePrivateSlotForHomeAndCell) {
  FeedCard("TEL;CELL;HOME;PREF:1");
  ExpectEntry("DefaultNumber", "4");
}

TEST_F(CardTest, DropsUnsupportedNumbers) {
  FeedCard("TEL;WORK;FAX:1\nTEL;FAX;WORK:2\nTEL;PAGE;PREF:3\nTEL;CELL;VIDEO:4");
  ExpectNoEntry("Office");
  ExpectNoEntry("Mobile");
  ExpectNoEntry("DefaultNumber");
}

TEST_F(CardTest, KeepsAVoiceNumberOfAnyKind) {
  FeedCard("TEL;VOICE;FAX:1\nTEL;FAX;VOICE:2");
  ExpectEntry("Office", "1");
  ExpectEntry("Office2", "2");
}

TEST_F(CardTest, IgnoresParameterValuesOfANumber) {
  FeedCard("TEL;TYPE=CELL:1");
  ExpectEntry("Office", "1");
  ExpectNoEntry("Mobile");
}

TEST_F(CardTest, KeepsNumbersUnchanged) {
  FeedCard("TEL;CHARSET=x:+49 (30) 12-34 \xE9");
  ExpectEntry("Office", "+49 (30) 12-34 \xE9");
}

// Single operations

TEST_F(CardTest, AddsUpPhoneKinds) {
  using Reader = CARD_Parser;
  const auto kind = [this](std::vector<const char*> names) {
    std::vector<const char*> params;
    for (const char* name : names) params.insert(params.end(), {name, nullptr});
    params.insert(params.end(), {nullptr, nullptr});
    return reader.getPhoneKind(params.data());
  };
  EXPECT_EQ(kind({}), Reader::PHONE_VOICE);
  EXPECT_EQ(kind({"X-OTHER"}), 0);
  EXPECT_EQ(kind({"VOICE"}), 1);
  EXPECT_EQ(kind({"WORK"}), 2);
  EXPECT_EQ(kind({"HOME"}), 4);
  EXPECT_EQ(kind({"CELL"}), 8);
  EXPECT_EQ(kind({"PREF"}), 16);
  EXPECT_EQ(kind({"pref", "Cell", "home", "WORK", "voice", "x"}), 31);
  for (const char* name : {"FAX", "MSG", "PAGE", "BBS", "MODEM", "CAR", "ISDN", "VIDEO"}) {
    EXPECT_EQ(kind({name}), Reader::PHONE_UNSUPPORTED) << name;
    EXPECT_EQ(kind({"WORK", "PREF", name}), 32) << name;
    EXPECT_EQ(kind({name, "WORK"}), 34) << name;
    EXPECT_EQ(kind({"VOICE", name}), 1) << name;
    EXPECT_EQ(kind({name, "WORK", "VOICE"}), 3) << name;
  }
}

TEST_F(CardTest, TakesPhoneKindsFromParameterNamesOnly) {
  const char* params[] = {"TYPE", "WORK", "CELL", "HOME", nullptr, nullptr};
  EXPECT_EQ(reader.getPhoneKind(params), CARD_Parser::PHONE_CELL);
}

TEST_F(CardTest, CountsTokensFromOne) {
  const auto token = [this](const char* text, int index) {
    return reader.getToken(reinterpret_cast<const unsigned char*>(text), index, ';');
  };
  EXPECT_EQ(token("a;b;c", 1), "a");
  EXPECT_EQ(token("a;b;c", 2), "b");
  EXPECT_EQ(token("a;b;c", 3), "c");
  EXPECT_EQ(token("a;b;c", 4), "");
  EXPECT_EQ(token("a;b;", 3), "");
  EXPECT_EQ(token(";b", 1), "");
  EXPECT_EQ(token(";b", 2), "b");
  EXPECT_EQ(token("a;;c", 2), "c");
  EXPECT_EQ(token("a;;;d", 2), "");
  EXPECT_EQ(token("a;;;d", 3), "d");
  EXPECT_EQ(token("", 1), "");
  EXPECT_EQ(token("", 2), "");
  EXPECT_EQ(token(nullptr, 1), "");
}

TEST_F(CardTest, AcceptsAnotherTokenSeparator) {
  EXPECT_EQ(reader.getToken(reinterpret_cast<const unsigned char*>("a;b,c"), 2, ','), "c");
}

TEST_F(CardTest, RefusesANullName) {
  const char* params[] = {nullptr, nullptr};
  const LogRecorder log;
  EXPECT_EQ(reader.propHandler(nullptr, params), 0);
  EXPECT_THAT(log.texts(5), ElementsAre(">propHandler", "\tInvalid parameter(s)", "<propHandler"));
}

TEST_F(CardTest, AcceptsNullData) {
  const LogRecorder log;
  EXPECT_EQ(reader.dataHandler(nullptr, 0), 1);
  EXPECT_EQ(reader.dataHandler("x", 0), 1);
  EXPECT_EQ(reader.dataHandler(nullptr, 3), 1);
  EXPECT_EQ(log.count("\tInvalid parameter(s)"), 3);
  EXPECT_THAT(log.texts(5), Contains("\tdataHandler, data: <(null)>, len: [0]\n"));
}

TEST_F(CardTest, AcceptsEveryGroup) { EXPECT_EQ(reader.groupHandler("anything"), 1); }

// The log

/// Expects an operation's entry trace first and its exit trace last.
void ExpectEntryAndExit(const std::string& name, const std::function<void()>& operation) {
  const LogRecorder log;
  operation();
  ASSERT_FALSE(log.lines().empty()) << name;
  EXPECT_EQ(log.lines().front(), (RecordedLine{"VCARD Parser", "CARD_Parser", 5, ">" + name}));
  EXPECT_EQ(log.lines().back(), (RecordedLine{"VCARD Parser", "CARD_Parser", 5, "<" + name}));
}

TEST_F(CardTest, TracesEntryAndExitOfEveryOperation) {
  const char* none[] = {nullptr, nullptr};
  const auto* text = reinterpret_cast<const unsigned char*>("x");
  std::optional<CARD_Parser> another;
  ExpectEntryAndExit("CARD_Parser", [&] { another.emplace(nullptr); });
  ExpectEntryAndExit("~CARD_Parser", [&] { another.reset(); });
  ExpectEntryAndExit("groupHandler", [&] { reader.groupHandler("A"); });
  ExpectEntryAndExit("propHandler", [&] { reader.propHandler("BEGIN", none); });
  ExpectEntryAndExit("dataHandler", [&] { reader.dataHandler("VCARD", 5); });
  ExpectEntryAndExit("propertyHandler1Level", [&] { reader.propertyHandler1Level("N", none); });
  ExpectEntryAndExit("getPhoneKind", [&] { reader.getPhoneKind(none); });
  ExpectEntryAndExit("getCharset", [&] { reader.getCharset(none); });
  ExpectEntryAndExit("getPhotoExt", [&] { reader.getPhotoExt(none); });
  ExpectEntryAndExit("getPhotoFilename", [&] { reader.getPhotoFilename(); });
  ExpectEntryAndExit("getToken", [&] { reader.getToken(text, 1, ';'); });
  ExpectEntryAndExit("handleOffice", [&] { reader.handleOffice("1", false); });
  ExpectEntryAndExit("handlePrivate", [&] { reader.handlePrivate("1", false); });
  ExpectEntryAndExit("handleMobile", [&] { reader.handleMobile("1", false); });
  ExpectEntryAndExit("handleDefault", [&] { reader.handleDefault("1", false); });
  ExpectEntryAndExit("data2Utf8", [&] { std::free(reader.data2Utf8("x", CHARSET_UTF8)); });
  ExpectEntryAndExit("latin12Utf8", [&] { std::free(reader.latin12Utf8(text, 1, nullptr)); });
  ExpectEntryAndExit("addProperty", [&] { reader.addProperty("a", "b", "", 0, true); });
  ExpectEntryAndExit("getPhoneBookWriteMessage", [&] { reader.getPhoneBookWriteMessage("u"); });
  ExpectEntryAndExit("clearBuffers", [&] { reader.clearBuffers(); });
}

class CardLogTest : public CardTest {
 protected:
  /// The reader's own log lines for this text, without the tokenizer's, entries and exits.
  std::vector<std::string> Messages(std::string_view text) {
    const LogRecorder log;
    CARD_Parser fresh(nullptr);
    EXPECT_EQ(readWith(fresh, text), 1);
    std::vector<std::string> texts;
    for (const RecordedLine& line : log.lines()) {
      EXPECT_EQ(line.component, "VCARD Parser");
      EXPECT_EQ(line.level, 5);
      if (line.source == "CARD_Parser" && line.text[0] == '\t') texts.push_back(line.text);
    }
    return texts;
  }
  /// The same for a card of these lines, without the log lines of BEGIN and END.
  std::vector<std::string> Lines(std::string_view lines) {
    const std::vector<std::string> all = Messages(Card(lines));
    return {all.begin() + 4, all.end() - 5};
  }
};

TEST_F(CardLogTest, TracesACardAroundItsProperties) {
  EXPECT_THAT(Messages("BEGIN:VCARD\nEND:VCARD\n"),
              ElementsAre("\tProperty name = [BEGIN]", "\tdataHandler, data: <VCARD>, len: [5]\n",
                          "\tdataHandler, data: <(null)>, len: [0]\n", "\tInvalid parameter(s)",
                          "\tProperty name = [END]", "\tdataHandler, data: <VCARD>, len: [5]\n",
                          "\tNo nested vCards supported!",
                          "\tdataHandler, data: <(null)>, len: [0]\n", "\tInvalid parameter(s)"));
}

TEST_F(CardLogTest, TracesAName) {
  EXPECT_THAT(Lines("N:Doe;John"),
              ElementsAre("\tProperty name = [N]", "\tcharset: 3",
                          "\tdataHandler, data: <Doe;John>, len: [8]\n", "\tParsing NAME",
                          "\tutf-8 length: 0", "\tdataHandler, data: <(null)>, len: [0]\n",
                          "\tInvalid parameter(s)"));
}

TEST_F(CardLogTest, TracesATelephoneNumber) {
  EXPECT_THAT(Lines("TEL:1"),
              ElementsAre("\tProperty name = [TEL]", "\tdataHandler, data: <1>, len: [1]\n",
                          "\tParsing TELEPHONE", "\tdataHandler, data: <(null)>, len: [0]\n",
                          "\tInvalid parameter(s)"));
}

TEST_F(CardLogTest, TracesTextsWithTheKeptValue) {
  EXPECT_THAT(Lines("EMAIL:x"), ::testing::IsSupersetOf({"\tParsing EMAIL", "\tEmail is [x]"}));
  EXPECT_THAT(Lines("TITLE:x"), ::testing::IsSupersetOf({"\tParsing TITLE", "\tJob is [x]"}));
  EXPECT_THAT(Lines("ORG:x"), ::testing::IsSupersetOf({"\tParsing ORG", "\tCompany is [x]"}));
  EXPECT_THAT(Lines("ADR:x"), ::testing::IsSupersetOf({"\tParsing ADDR", "\tAddress is [x]"}));
  EXPECT_THAT(Lines("ADR:x\nADR:y"),
              ::testing::IsSupersetOf({"\tParsing ADDR", "\tAddress2 is [y]"}));
}

TEST_F(CardLogTest, TracesADroppedTextWithoutItsValue) {
  EXPECT_THAT(Lines("TITLE:x\nTITLE:z"), Not(Contains("\tJob is [z]")));
  EXPECT_THAT(Lines("ADR:x\nADR:y\nADR:z"), Not(Contains("\tAddress2 is [z]")));
}

TEST_F(CardLogTest, TracesTheCharsetOfTextOnly) {
  for (const char* name : {"N", "FN", "EMAIL", "TITLE", "ORG", "ADR"}) {
    EXPECT_THAT(Lines(std::string(name) + ":x"), Contains("\tcharset: 3")) << name;
  }
  for (const char* name : {"TEL", "VERSION", "NOTE"}) {
    EXPECT_THAT(Lines(std::string(name) + ":x"), Not(Contains("\tcharset: 3"))) << name;
  }
}

TEST_F(CardLogTest, TracesNoCharsetOfAnIgnoredEmail) {
  EXPECT_THAT(Lines("EMAIL;X:x"), Not(Contains("\tcharset: 3")));
}

TEST_F(CardLogTest, WritesNothingForAGoodCardWithTracingOff) {
  const LogRecorder log(kLogError);
  FeedCard("N:Doe;John\nTEL:1\nPHOTO;TYPE=GIF;BASE64:QUJD\n\nADR;CHARSET=UTF-8:x");
  Message();
  EXPECT_THAT(log.lines(), ::testing::IsEmpty());
}

}  // namespace
}  // namespace test
