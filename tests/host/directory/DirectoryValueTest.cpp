#include "tests/host/directory/DirectoryFixture.h"

namespace test {
namespace {

using ::testing::IsEmpty;
using ::testing::SizeIs;

class DirectoryValueTest : public DirectoryTest {
 protected:
  /// The value is returned exactly, can be searched for, and survives a restart.
  void ExpectKept(Column column, const std::string& value) {
    const std::string id = Store({{column, value}, {Column::kGroup, "0"}});
    ExpectValue({Column::kId, id}, column, value);
    ExpectValue({column, value}, column, value);
    Restart();
    ExpectValue({Column::kId, id}, column, value);
  }
  void ExpectValue(const ColumnValue& match, Column column, const std::string& value) {
    const std::vector<DirectoryEntry> found = Matching({match});
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_TRUE(found.front().value(column) == value) << cards::cardColumn(column).name;
  }
};

std::string EveryByte() {
  std::string bytes;
  for (int byte = 1; byte < 256; ++byte) bytes.push_back(static_cast<char>(byte));
  return bytes;
}

std::vector<Column> TextColumns() {
  return {host::kAllColumns.begin() + 1, host::kAllColumns.end() - 1};
}

TEST_F(DirectoryValueTest, KeepsEveryByteButNulInEveryColumn) {
  for (const Column column : TextColumns())
    ExpectKept(column, std::string(cards::cardColumn(column).name) + EveryByte());
  const std::string id = Store({{Column::kGroup, EveryByte()}});
  ExpectValue({Column::kId, id}, Column::kGroup, EveryByte());
}

TEST_F(DirectoryValueTest, KeepsEachByteByItself) {
  for (const char byte : EveryByte()) {
    const std::string id = Store({{Column::kSurname, std::string(1, byte)}});
    ExpectValue({Column::kId, id}, Column::kSurname, std::string(1, byte));
  }
}

TEST_F(DirectoryValueTest, StoresTheCardReadersRequestByteForByte) {
  const std::string value = " \"A\" & <B> 'C' &amp; ]]>\r\n\t" + EveryByte();
  Ask(WriteOf("<Surname>" + Escaped(value) + "</Surname><Group>0</Group>"));
  ExpectValue({Column::kSurname, value}, Column::kSurname, value);
}

TEST_F(DirectoryValueTest, KeepsWhiteSpace) {
  for (const char* value : {" ", "\t", "\n", "\r", "\r\n", " \n ", " x ", "\nx\n", "\r\rx"})
    ExpectKept(Column::kAddress, value);
}

TEST_F(DirectoryValueTest, KeepsInvalidUtf8) {
  for (const char* value : {"\xC3", "\xE2\x82", "\xF0\x9F\x98", "\x80", "\xFF", "\xC0\xAF",
                            "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xEF\xBB\xBF", "\xEF\xBF\xBE"})
    ExpectKept(Column::kCompany, value);
}

TEST_F(DirectoryValueTest, KeepsMarkup) {
  for (const char* value : {"<Entry>", "</Entry>", "]]>", "<![CDATA[x]]>", "<!-- x -->", "&lt;",
                            "&#0;", "</Schema>", "<?xml?>", "failure"})
    ExpectKept(Column::kJobFunction, value);
}

TEST_F(DirectoryValueTest, KeepsLargeValues) {
  std::string value;
  while (value.size() < (std::size_t{2} << 20)) value += EveryByte();
  ExpectKept(Column::kEmail, value);
  ExpectKept(Column::kPicture, value + value);
}

// Quotation marks have the longest escape: this is the largest request of a card.
TEST_F(DirectoryValueTest, KeepsTheLargestCard) {
  const std::string value(std::size_t{4} << 20, '"');
  Ask(WriteOf("<Surname>" + Escaped(value) + "</Surname><Group>0</Group>"));
  ExpectValue({Column::kSurname, value}, Column::kSurname, value);
}

TEST_F(DirectoryValueTest, RefusesAValueWithNul) {
  ExpectFailure(WriteOf("<Surname>a" + std::string(1, '\0') + "b</Surname>"), "NUL");
  ExpectFailure(WriteOf("<Surname>a&#0;b</Surname>"), "can be stored");
  EXPECT_THAT(Matching({}), IsEmpty());
}

TEST_F(DirectoryValueTest, RefusesAnEntryTooLargeForAnAnswer) {
  const std::string value(host::DirectoryRequest::kMaxEntryBytes, 'x');
  ExpectFailure(
      host::DirectoryClient::writeRequest({{Column::kSurname, value}, {Column::kFirstname, "y"}}),
      "larger than 8 MiB");
}

}  // namespace
}  // namespace test
