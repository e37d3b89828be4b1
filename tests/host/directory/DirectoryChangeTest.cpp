#include "tests/host/directory/DirectoryFixture.h"

namespace test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

/// Updates and deletions.
class DirectoryChangeTest : public DirectoryTest {
 protected:
  std::string Size(const std::string& id) { return Sql("SELECT size FROM entries WHERE id=" + id); }
  std::string Text(const std::string& id, Column column) {
    return std::string(Matching({{Column::kId, id}}).at(0).value(column));
  }
  void OpenWith(std::uint64_t entries, std::uint64_t bytes) {
    host::PhoneBookOptions options = Options();
    options.maxEntries = entries;
    options.maxBytes = bytes;
    m_service = std::make_unique<host::DirectoryService>(options);
  }
};

TEST_F(DirectoryChangeTest, DeletesOnlyTheGivenEntry) {
  StoreNamed("first");
  const std::string id = Store({{Column::kSurname, "second"}});
  StoreNamed("third");
  ExpectDeleted(id);
  EXPECT_THAT(Surnames(), ElementsAre("first", "third"));
  Restart();
  EXPECT_THAT(Surnames(), ElementsAre("first", "third"));
}

TEST_F(DirectoryChangeTest, NeverReusesTheIdOfADeletedEntry) {
  StoreNamed("first");
  const std::string last = Store({{Column::kSurname, "last"}});
  ExpectDeleted(last);
  EXPECT_GT(std::stoll(Store({{Column::kSurname, "new"}})), std::stoll(last));
  Restart();
  const std::string newest = Store({{Column::kSurname, "newest"}});
  ExpectDeleted(newest);
  Restart();
  EXPECT_GT(std::stoll(Store({{Column::kSurname, "after"}})), std::stoll(newest));
}

TEST_F(DirectoryChangeTest, RefusesToChangeAMissingEntry) {
  const std::string id = Store({{Column::kSurname, "Doe"}});
  ExpectDeleted(id);
  for (const std::string& unknown : {id, std::string("0"), std::string("999999999999999999")}) {
    ExpectNotDeleted(unknown, "has no entry of that Id");
    ExpectNotUpdated(unknown, {{Column::kSurname, kSecret}}, "has no entry of that Id");
  }
  EXPECT_THAT(Surnames(), IsEmpty());
}

TEST_F(DirectoryChangeTest, RefusesAHostileId) {
  StoreNamed("Doe");
  for (const char* id : {"-1", "9223372036854775808", "18446744073709551617", " 1", "1 ", "1 OR 1",
                         "1;DELETE FROM entries", "", "%", "0x1"}) {
    ExpectNotDeleted(id, "The Id is not a number");
    ExpectNotUpdated(id, {{Column::kSurname, "x"}}, "The Id is not a number");
  }
  EXPECT_THAT(Surnames(), ElementsAre("Doe"));
}

TEST_F(DirectoryChangeTest, UpdatesOnlyTheGivenTexts) {
  const std::string id =
      Store({{Column::kSurname, "Doe"}, {Column::kMobile, "1"}, {Column::kCompany, "ACME"}});
  const std::string other = Store({{Column::kSurname, "Roe"}});
  ExpectUpdated(id, {{Column::kMobile, "22"}, {Column::kCompany, ""}});
  EXPECT_EQ(Text(id, Column::kSurname), "Doe");
  EXPECT_EQ(Text(id, Column::kMobile), "22");
  EXPECT_EQ(Text(id, Column::kCompany), "");
  EXPECT_EQ(Text(other, Column::kSurname), "Roe");
}

TEST_F(DirectoryChangeTest, KeepsIdAndOrderOnUpdate) {
  const std::string id = Store({{Column::kSurname, "first"}});
  StoreNamed("second");
  ExpectUpdated(id, {{Column::kSurname, "zz"}});
  EXPECT_THAT(Surnames(), ElementsAre("zz", "second"));
}

TEST_F(DirectoryChangeTest, StoresUpdatedTextsByteForByte) {
  const std::string bytes = " '\"<>&\r\n\t\x01\x7F\xFF\xC3 :surname";
  const std::string id = Store({{Column::kSurname, "Doe"}});
  ExpectUpdated(id, {{Column::kSurname, bytes}});
  EXPECT_EQ(Text(id, Column::kSurname), bytes);
  EXPECT_EQ(Matching({{Column::kSurname, bytes}}).size(), 1u);
}

TEST_F(DirectoryChangeTest, AcceptsAnUpdateThatChangesNothing) {
  const std::string id = Store({{Column::kSurname, "Doe"}});
  ExpectUpdated(id, {{Column::kSurname, "Doe"}, {Column::kEmail, ""}});
  EXPECT_EQ(Size(id), "3");
}

TEST_F(DirectoryChangeTest, RefusesToEmptyAnEntry) {
  const std::string id = Store({{Column::kSurname, "Doe"}, {Column::kMobile, "1"}});
  ExpectUpdated(id, {{Column::kSurname, ""}});
  ExpectNotUpdated(id, {{Column::kMobile, ""}}, "would have no value left");
  EXPECT_EQ(Text(id, Column::kMobile), "1");
}

TEST_F(DirectoryChangeTest, KeepsTheSizeOfAnEntryCurrent) {
  const std::string id = Store({{Column::kSurname, "Doe"}, {Column::kMobile, "1"}});
  EXPECT_EQ(Size(id), "4");
  ExpectUpdated(id, {{Column::kEmail, "1234567890"}});
  EXPECT_EQ(Size(id), "14");
  ExpectUpdated(id, {{Column::kSurname, ""}, {Column::kMobile, "22"}});
  EXPECT_EQ(Size(id), "12");
}

TEST_F(DirectoryChangeTest, CorrectsAWrongSizeOnUpdate) {
  const std::string id = Store({{Column::kSurname, "Doe"}});
  Sql("UPDATE entries SET size = 1000000");
  ExpectUpdated(id, {{Column::kMobile, "1"}});
  EXPECT_EQ(Size(id), "4");
}

TEST_F(DirectoryChangeTest, RefusesAnUpdateBeyondTheEntryLimit) {
  const std::string half(std::size_t{5} << 20, 'x');
  const std::string id = Store({{Column::kSurname, half}});
  ExpectNotUpdated(id, {{Column::kEmail, half}}, "larger than 8 MiB");
  EXPECT_EQ(Text(id, Column::kEmail), "");
  ExpectUpdated(id, {{Column::kSurname, "x"}, {Column::kEmail, half}});
}

TEST_F(DirectoryChangeTest, RefusesAnUpdateBeyondThePhonebookLimit) {
  OpenWith(10, 1000);
  const std::string id = Store({{Column::kSurname, std::string(600, 'a')}});
  StoreNamed(std::string(300, 'b'));
  ExpectNotUpdated(id, {{Column::kSurname, std::string(701, 'c')}}, "may have 1000 bytes in total");
  EXPECT_EQ(Size(id), "600");
  ExpectUpdated(id, {{Column::kSurname, std::string(700, 'c')}});
}

TEST_F(DirectoryChangeTest, FreesRoomByDeleting) {
  OpenWith(1, 100);
  const std::string id = Store({{Column::kSurname, std::string(100, 'a')}});
  ExpectNotStored("is full");
  ExpectDeleted(id);
  Store({{Column::kSurname, std::string(100, 'b')}});
}

TEST_F(DirectoryChangeTest, AllowsShrinkingAPhonebookBeyondItsLimits) {
  const std::string first = Store({{Column::kSurname, std::string(600, 'a')}});
  const std::string second = Store({{Column::kSurname, std::string(600, 'b')}});
  OpenWith(1, 500);
  ExpectUpdated(first, {{Column::kSurname, std::string(599, 'a')}});
  ExpectNotUpdated(first, {{Column::kSurname, std::string(600, 'a')}}, "is full");
  ExpectDeleted(second);
}

TEST_F(DirectoryChangeTest, DoesNotEchoValuesOfARefusedChange) {
  const std::string id = Store({{Column::kSurname, "Doe"}});
  for (const char* kind : {"update", "delete"}) {
    for (const char* rest : {"<Nickname>Zyzzogeton</Nickname>", "<Surname>b</Surname>", "&Zyz;",
                             "Zyzzogeton", "<Id>Zyzzogeton</Id>", "<Office><Id/></Office>"}) {
      const std::string answer =
          Ask(ChangeOf(kind, "<Id>" + id + "</Id><Surname>Zyzzogeton</Surname>" + rest));
      EXPECT_THAT(answer, HasSubstr("failure")) << kind << rest;
      EXPECT_THAT(answer, Not(HasSubstr("Zyz"))) << kind << rest;
    }
  }
  EXPECT_THAT(Surnames(), ElementsAre("Doe"));
}

TEST_F(DirectoryChangeTest, DoesNotEchoValuesOfAChange) {
  const std::string id = Store({{Column::kSurname, "Doe"}});
  const std::string answer =
      Ask(host::DirectoryClient::updateRequest(id, {{Column::kSurname, kSecret}}));
  EXPECT_THAT(answer, Not(HasSubstr("Zyzzogeton")));
  EXPECT_THAT(answer, Not(HasSubstr("failure")));
  EXPECT_THAT(Ask(host::DirectoryClient::deleteRequest(id)), Not(HasSubstr("failure")));
}

TEST_F(DirectoryChangeTest, RefusesAChangeAfterSomeoneElseDeletedTheEntry) {
  const std::string id = Store({{Column::kSurname, "Doe"}});
  Sql("DELETE FROM entries");
  ExpectNotUpdated(id, {{Column::kSurname, "Roe"}}, "has no entry of that Id");
  ExpectNotDeleted(id, "has no entry of that Id");
}

}  // namespace
}  // namespace test
