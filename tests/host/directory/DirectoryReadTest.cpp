#include "framework/ClientUtils.h"
#include "tests/host/directory/DirectoryFixture.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

// What the telephone asks before it stores a card, to avoid duplicates.
std::string QuestionFor(const std::string& firstname, const std::string& surname,
                        const std::string& office) {
  return "<?xml version=\"1.0\" encoding=\"utf-8\"?><Schema name=\"PhoneBook\"><ReasonForMessage>"
         "read_request</ReasonForMessage><ResultCols>Surname Firstname Office Mobile Private "
         "DefaultNumber Office2 Picture</ResultCols><Entry><Firstname>" +
         firstname + "</Firstname><Surname>" + surname +
         "</Surname><Mobile></Mobile><Private></Private><Office>" + office +
         "</Office><Office2></Office2></Entry></Schema>";
}

class DirectoryReadTest : public DirectoryTest {
 protected:
  std::vector<std::string> SurnamesMatching(const Values& match) {
    std::vector<std::string> names;
    for (const DirectoryEntry& entry : Matching(match))
      names.emplace_back(entry.value(Column::kSurname));
    return names;
  }
  bool IsThere(const std::string& question) {
    std::string entry;
    return ClientUtils::extractValueFromXMLString(Ask(question), "Entry", entry) == 1;
  }
};

TEST_F(DirectoryReadTest, MatchesACardWithEqualNamesAndNumbers) {
  Ask(
      WriteOf("<Surname>Doe</Surname><Firstname>John</Firstname><Office>123</Office>"
              "<Email>john@example.org</Email><Group>0</Group>"));
  EXPECT_TRUE(IsThere(QuestionFor("John", "Doe", "123")));
  EXPECT_FALSE(IsThere(QuestionFor("John", "Doe", "124")));
  EXPECT_FALSE(IsThere(QuestionFor("John", "Doe", "")));
  EXPECT_FALSE(IsThere(QuestionFor("", "Doe", "123")));
}

TEST_F(DirectoryReadTest, ReturnsTheRequestedColumnsInOrder) {
  Ask(
      WriteOf("<Surname>O&apos;Neil</Surname><Firstname>A&amp;B&lt;C&gt;</Firstname>"
              "<Office>123</Office><DefaultNumber>1</DefaultNumber><Group>0</Group>"));
  EXPECT_EQ(Ask(QuestionFor("A&amp;B&lt;C&gt;", "O&apos;Neil", "123")),
            "<?xml version=\"1.0\" encoding=\"utf-8\"?><Schema name=\"PhoneBook\">"
            "<ReasonForMessage>read_response</ReasonForMessage><Entry><Surname>O'Neil</Surname>"
            "<Firstname>A&amp;B&lt;C&gt;</Firstname><Office>123</Office><Mobile></Mobile>"
            "<Private></Private><DefaultNumber>1</DefaultNumber><Office2></Office2>"
            "<Picture></Picture></Entry></Schema>");
}

TEST_F(DirectoryReadTest, MatchesNothingInAnEmptyPhonebook) {
  EXPECT_FALSE(IsThere(QuestionFor("John", "Doe", "123")));
  EXPECT_THAT(Matching({}), IsEmpty());
}

TEST_F(DirectoryReadTest, NeverMatchesACardWithoutNameAndNumber) {
  Ask(WriteOf("<Group>0</Group>"));
  EXPECT_FALSE(IsThere(QuestionFor("", "", "")));
  EXPECT_THAT(Matching({{Column::kEmail, ""}}), IsEmpty());
}

TEST_F(DirectoryReadTest, MatchesAnEmptyColumnByAnEmptyElement) {
  Store({{Column::kSurname, "Doe"}, {Column::kMobile, "1"}});
  Store({{Column::kSurname, "Doe"}, {Column::kEmail, "a"}});
  EXPECT_THAT(Matching({{Column::kSurname, "Doe"}}), SizeIs(2));
  const std::vector<DirectoryEntry> found =
      Matching({{Column::kSurname, "Doe"}, {Column::kMobile, ""}});
  ASSERT_THAT(found, SizeIs(1));
  EXPECT_EQ(found.front().value(Column::kEmail), "a");
}

TEST_F(DirectoryReadTest, ListsAllEntriesByAscendingId) {
  for (const char* name : {"c", "a", "b"}) StoreNamed(name);
  EXPECT_THAT(SurnamesMatching({}), ElementsAre("c", "a", "b"));
}

TEST_F(DirectoryReadTest, ReturnsMatchesByAscendingId) {
  for (const char* name : {"c", "a", "b"})
    Store({{Column::kSurname, "Doe"}, {Column::kFirstname, name}});
  std::vector<std::string> names;
  for (const DirectoryEntry& entry : Matching({{Column::kSurname, "Doe"}}))
    names.emplace_back(entry.value(Column::kFirstname));
  EXPECT_THAT(names, ElementsAre("c", "a", "b"));
}

TEST_F(DirectoryReadTest, MatchesEachColumnByItself) {
  Values all;
  for (const Column column : host::kAllColumns) {
    if (column == Column::kId) continue;
    all.push_back({column, "value of " + std::string(cards::cardColumn(column).name)});
  }
  Store(all);
  for (const ColumnValue& value : all) {
    EXPECT_THAT(Matching({value}), SizeIs(1)) << value.value;
    EXPECT_THAT(Matching({{value.column, "other"}}), IsEmpty()) << value.value;
  }
  EXPECT_THAT(Matching(all), SizeIs(1));
}

TEST_F(DirectoryReadTest, ComparesValuesByteByByte) {
  Store({{Column::kSurname, "Doe"}, {Column::kOffice, "10"}});
  for (const char* other : {"doe", "DOE", "Do", "Doe ", " Doe", "D_e", "D%", "Do\xC3\xA9"})
    EXPECT_THAT(Matching({{Column::kSurname, other}}), IsEmpty()) << other;
  for (const char* other : {"10.0", "010", "+10", "1e1"})
    EXPECT_THAT(Matching({{Column::kOffice, other}}), IsEmpty()) << other;
}

TEST_F(DirectoryReadTest, NeverTakesValuesForSql) {
  for (const char* name :
       {"' OR '1'='1", "x'; DROP TABLE entries; --", ":surname", "?1", "\\'", "%s"}) {
    EXPECT_THAT(Matching({{Column::kSurname, name}}), IsEmpty()) << name;
    StoreNamed(name);
    EXPECT_THAT(SurnamesMatching({{Column::kSurname, name}}), ElementsAre(name));
  }
}

TEST_F(DirectoryReadTest, FindsAnEntryByItsId) {
  StoreNamed("first");
  const std::string id = Store({{Column::kSurname, "second"}});
  StoreNamed("third");
  EXPECT_THAT(SurnamesMatching({{Column::kId, id}}), ElementsAre("second"));
  EXPECT_THAT(SurnamesMatching({{Column::kId, "0" + id}}), ElementsAre("second"));
  EXPECT_THAT(SurnamesMatching({{Column::kId, id}, {Column::kSurname, "first"}}), IsEmpty());
  EXPECT_THAT(SurnamesMatching({{Column::kId, "999999999999999999"}}), IsEmpty());
}

TEST_F(DirectoryReadTest, ReturnsTheIdThatTheWriteReturned) {
  const std::string id = Store({{Column::kSurname, "Doe"}});
  const std::vector<DirectoryEntry> found = Matching({{Column::kSurname, "Doe"}});
  ASSERT_THAT(found, SizeIs(1));
  EXPECT_EQ(found.front().value(Column::kId), id);
}

TEST_F(DirectoryReadTest, RefusesAnAnswerThatIsTooLargeButReadsEachEntryById) {
  // Nearly the largest request: "&" takes five bytes in requests and answers.
  const std::string big((host::DirectoryRequest::kMaxBytes - 1000) / 5, '&');
  const std::string first = Store({{Column::kSurname, big}});
  const std::string second = Store({{Column::kSurname, big}});
  ExpectFailure(host::DirectoryClient::listRequest({Column::kSurname}), "larger than 60 MiB");
  EXPECT_EQ(Parsed(host::DirectoryClient::listRequest({Column::kId})).entries.size(), 2u);
  EXPECT_TRUE(SurnamesMatching({{Column::kId, first}}) == std::vector{big});
  EXPECT_TRUE(SurnamesMatching({{Column::kId, second}}) == std::vector{big});
}

TEST_F(DirectoryReadTest, AnswersARefusedReadWithTheReason) {
  ExpectFailure(ReadOf("<Nickname>x</Nickname>"), "not a column of the phonebook");
  ExpectFailure("hello", "text outside its values");
  ExpectFailure("", "not a single Schema");
}

TEST_F(DirectoryReadTest, FailsAfterShutdown) {
  StoreNamed("Doe");
  m_service->shutdown();
  m_service->shutdown();
  ExpectFailure(ReadOf(""), "closed");
  ExpectNotStored("closed");
}

TEST_F(DirectoryReadTest, IsADirectoryService) {
  Open();
  Executable* const found = m_service.get();
  auto* const directory = dynamic_cast<DirectoryServiceIfc*>(found);
  ASSERT_NE(directory, nullptr);
  EXPECT_THAT(directory->handleRequest(ReadOf("")), HasSubstr("read_response"));
}

}  // namespace
}  // namespace test
