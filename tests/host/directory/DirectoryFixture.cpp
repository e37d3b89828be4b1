#include "tests/host/directory/DirectoryFixture.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace test {

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

const std::string kHead =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?><Schema name=\"PhoneBook\"><ReasonForMessage>";

}  // namespace

std::string Escaped(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '\'':
        escaped += "&apos;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      default:
        escaped += c;
        break;
    }
  }
  return escaped;
}

std::string WriteOf(const std::string& elements) {
  return kHead + "write_request</ReasonForMessage><Entry>" + elements + "</Entry></Schema>";
}

std::string ChangeOf(const std::string& kind, const std::string& elements) {
  return kHead + kind + "_request</ReasonForMessage><Entry>" + elements + "</Entry></Schema>";
}

std::string ReadOf(const std::string& elements) {
  return kHead +
         "read_request</ReasonForMessage><ResultCols>Surname Firstname</ResultCols><Entry>" +
         elements + "</Entry></Schema>";
}

void DirectoryTest::SetUp() {
  std::string pattern = ::testing::TempDir() + "/directory-XXXXXX";
  ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
  m_folder = pattern;
  std::filesystem::create_directory(Folder());
  m_place = MakeBookPlace(Path());
}

void DirectoryTest::TearDown() {
  Close();
  m_place.reset();
  std::error_code ignored;
  std::filesystem::remove_all(m_folder, ignored);
}

host::PhoneBookOptions DirectoryTest::Options() const {
  host::PhoneBookOptions options;
  options.connection = Connection();
  options.busyTimeout = std::chrono::milliseconds(200);
  return options;
}

void DirectoryTest::Open() { m_service = std::make_unique<host::DirectoryService>(Options()); }

void DirectoryTest::Close() { m_service.reset(); }

void DirectoryTest::Restart() {
  Close();
  Open();
}

std::string DirectoryTest::Ask(const std::string& request) {
  if (!m_service) Open();
  return m_service->handleRequest(request);
}

DirectoryAnswer DirectoryTest::Parsed(const std::string& request) {
  return host::DirectoryClient::parseAnswer(Ask(request));
}

std::string DirectoryTest::Store(const Values& values) {
  const DirectoryAnswer answer = Parsed(host::DirectoryClient::writeRequest(values));
  EXPECT_EQ(answer.kind, DirectoryAnswer::Kind::kWritten) << answer.reason;
  EXPECT_FALSE(answer.id.empty());
  return answer.id;
}

void DirectoryTest::StoreNamed(const std::string& surname) { Store({{Column::kSurname, surname}}); }

std::vector<std::string> DirectoryTest::Surnames() {
  std::vector<std::string> names;
  for (const DirectoryEntry& entry : Matching({}))
    names.emplace_back(entry.value(Column::kSurname));
  return names;
}

std::vector<DirectoryEntry> DirectoryTest::Matching(const Values& match) {
  const std::vector<Column> columns(host::kAllColumns.begin(), host::kAllColumns.end());
  const DirectoryAnswer answer = Parsed(host::DirectoryClient::matchRequest(columns, match));
  EXPECT_EQ(answer.kind, DirectoryAnswer::Kind::kRead) << answer.reason;
  return answer.entries;
}

void DirectoryTest::ExpectFailure(const std::string& request, const std::string& reason) {
  const std::string text = Ask(request);
  EXPECT_THAT(text, HasSubstr("failure"));
  EXPECT_THAT(text, Not(HasSubstr("<Entry>")));
  const DirectoryAnswer answer = host::DirectoryClient::parseAnswer(text);
  EXPECT_EQ(answer.kind, DirectoryAnswer::Kind::kFailure);
  EXPECT_THAT(answer.reason, HasSubstr(reason));
}

void DirectoryTest::ExpectNotStored(const std::string& reason) {
  const std::string request =
      host::DirectoryClient::writeRequest({{Column::kSurname, kSecret}, {Column::kGroup, "0"}});
  ExpectFailure(request, reason);
  EXPECT_THAT(Ask(request), Not(HasSubstr("Zyzzogeton")));
}

void DirectoryTest::ExpectUpdated(const std::string& id, const Values& texts) {
  const DirectoryAnswer answer = Parsed(host::DirectoryClient::updateRequest(id, texts));
  EXPECT_EQ(answer.kind, DirectoryAnswer::Kind::kUpdated) << answer.reason;
  EXPECT_EQ(answer.id, id);
}

void DirectoryTest::ExpectDeleted(const std::string& id) {
  const DirectoryAnswer answer = Parsed(host::DirectoryClient::deleteRequest(id));
  EXPECT_EQ(answer.kind, DirectoryAnswer::Kind::kDeleted) << answer.reason;
  EXPECT_EQ(answer.id, id);
}

void DirectoryTest::ExpectNotUpdated(const std::string& id, const Values& texts,
                                     const std::string& reason) {
  ExpectFailure(host::DirectoryClient::updateRequest(id, texts), reason);
}

void DirectoryTest::ExpectNotDeleted(const std::string& id, const std::string& reason) {
  ExpectFailure(host::DirectoryClient::deleteRequest(id), reason);
}

std::string DirectoryTest::OpeningProblem() const { return OpeningProblem(Options()); }

std::string DirectoryTest::OpeningProblem(const host::PhoneBookOptions& options) const {
  try {
    const host::DirectoryService service(options);
  } catch (const std::runtime_error& problem) {
    return problem.what();
  }
  return {};
}

std::string DirectoryTest::Existence() const {
  try {
    return host::PhoneBook::exists(Options()) ? "there" : "missing";
  } catch (const host::PhoneBookError& problem) {
    return problem.what();
  }
}

std::string DirectoryTest::Sql(const std::string& sql) const { return m_place->Sql(sql); }

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void WriteFile(const std::string& path, const std::string& bytes) {
  std::fstream file(path, std::ios::binary | std::ios::out | std::ios::trunc);
  file << bytes;
}

}  // namespace test
