#include <set>

#include "tests/host/directory/DirectoryFixture.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class DirectoryWriteTest : public DirectoryTest {};

TEST_F(DirectoryWriteTest, StoresTheGivenValuesOnly) {
  Ask(
      WriteOf("<Surname>Doe</Surname><Firstname>John</Firstname><Office>123</Office>"
              "<DefaultNumber>1</DefaultNumber><Group>0</Group>"));
  const std::vector<DirectoryEntry> entries = Matching({});
  ASSERT_EQ(entries.size(), 1u);
  std::set<std::string> values;
  for (const ColumnValue& value : entries.front().values) {
    if (value.column != Column::kId) values.insert(value.value);
  }
  EXPECT_THAT(values, ElementsAre("", "0", "1", "123", "Doe", "John"));
}

TEST_F(DirectoryWriteTest, StoresAnEqualEntryAgain) {
  EXPECT_NE(Store({{Column::kSurname, "Doe"}}), Store({{Column::kSurname, "Doe"}}));
  EXPECT_THAT(Surnames(), ElementsAre("Doe", "Doe"));
}

TEST_F(DirectoryWriteTest, DoesNotEchoValuesOfAWrite) {
  const std::string answer = Ask(WriteOf("<Surname>failure</Surname><Group>0</Group>"));
  EXPECT_THAT(answer, HasSubstr("write_response"));
  EXPECT_THAT(answer, Not(HasSubstr("failure")));
  EXPECT_THAT(Surnames(), ElementsAre("failure"));
}

TEST_F(DirectoryWriteTest, DoesNotStoreOrEchoARefusedWrite) {
  for (const char* rest : {"<Surname>b</Surname>", "<Nickname>Zyzzogeton</Nickname>", "<Group>0",
                           "&Zyzzogeton;", "<Group>&#0;</Group>", "<Id>1</Id>"}) {
    const std::string answer = Ask(WriteOf(std::string("<Surname>Zyzzogeton</Surname>") + rest));
    EXPECT_THAT(answer, HasSubstr("failure")) << rest;
    EXPECT_THAT(answer, Not(HasSubstr("Zyzzogeton"))) << rest;
  }
  EXPECT_THAT(Surnames(), IsEmpty());
}

TEST_F(DirectoryWriteTest, KeepsEntriesAcrossARestart) {
  StoreNamed("before");
  Restart();
  EXPECT_THAT(Surnames(), ElementsAre("before"));
  StoreNamed("after");
  Restart();
  EXPECT_THAT(Surnames(), ElementsAre("before", "after"));
}

TEST_F(DirectoryWriteTest, NeverReusesAnId) {
  StoreNamed("first");
  const std::string id = Store({{Column::kSurname, "last"}});
  Close();
  Sql("DELETE FROM entries");
  Open();
  EXPECT_GT(std::stoll(Store({{Column::kSurname, "new"}})), std::stoll(id));
}

TEST_F(DirectoryWriteTest, RefusesEntriesBeyondTheLimitUntilThereIsRoom) {
  host::PhoneBookOptions options = Options();
  options.maxEntries = 2;
  m_service = std::make_unique<host::DirectoryService>(options);
  StoreNamed("first");
  StoreNamed("second");
  ExpectNotStored("is full: it holds 2 entries");
  EXPECT_THAT(Surnames(), ElementsAre("first", "second"));
  Sql("DELETE FROM entries WHERE surname = 'first'");
  StoreNamed("third");
  EXPECT_THAT(Surnames(), ElementsAre("second", "third"));
}

TEST_F(DirectoryWriteTest, RefusesBytesBeyondTheLimit) {
  host::PhoneBookOptions options = Options();
  options.maxBytes = 1000;
  m_service = std::make_unique<host::DirectoryService>(options);
  StoreNamed(std::string(600, 'a'));
  ExpectFailure(host::DirectoryClient::writeRequest({{Column::kEmail, std::string(401, 'b')}}),
                "is full: its entries may have 1000 bytes in total");
  Store({{Column::kEmail, std::string(400, 'b')}});
  EXPECT_EQ(Surnames().size(), 2u);
}

}  // namespace
}  // namespace test
