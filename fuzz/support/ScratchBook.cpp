#include "fuzz/support/ScratchBook.h"

#include <filesystem>
#include <stdexcept>

#include "fuzz/support/Contract.h"

namespace fuzz {

namespace {

using host::Column;
using Kind = host::DirectoryAnswer::Kind;

void requireSentence(const std::string& reason) {
  require(reason.size() > 10 && reason.back() == '.', "a reason is a sentence");
  for (const char c : reason) {
    require(c >= ' ' && c < 0x7F, "a reason quotes nothing from the request");
  }
}

}  // namespace

ScratchBook::ScratchBook() { renew(); }

host::DirectoryAnswer ScratchBook::ask(const std::string& request) {
  const std::string text = m_service->handleRequest(request);
  try {
    host::DirectoryAnswer answer = host::DirectoryClient::parseAnswer(text);
    if (answer.kind == Kind::kFailure) requireSentence(answer.reason);
    const bool word = text.find("failure") != std::string::npos;
    const bool changed = answer.kind == Kind::kWritten || answer.kind == Kind::kUpdated ||
                         answer.kind == Kind::kDeleted;
    require(!changed || !word, "no successful answer contains the word failure");
    return answer;
  } catch (const std::runtime_error&) {
    require(false, "an answer is valid");
    throw;
  }
}

std::vector<host::DirectoryEntry> ScratchBook::entries() {
  const std::vector<Column> all(host::kAllColumns.begin(), host::kAllColumns.end());
  return ask(host::DirectoryClient::listRequest(all)).entries;
}

host::DirectoryEntry ScratchBook::entryOf(const std::string& id) {
  const std::vector<Column> all(host::kAllColumns.begin(), host::kAllColumns.end());
  host::DirectoryAnswer answer = ask(host::DirectoryClient::matchRequest(all, {{Column::kId, id}}));
  require(answer.kind == Kind::kRead && answer.entries.size() == 1,
          "an entry can be read by its Id");
  return std::move(answer.entries.front());
}

void ScratchBook::renew() {
  m_service.reset();
  const std::filesystem::path folder = m_folder.path() / "book";
  std::filesystem::remove_all(folder);
  host::PhoneBookOptions options;
  options.connection = "sqlite3://" + (folder / "phonebook.db").string();
  m_service = std::make_unique<host::DirectoryService>(options);
  ask(host::DirectoryClient::writeRequest({{Column::kSurname, "Doe"},
                                           {Column::kFirstname, "John"},
                                           {Column::kOffice, "+49 30 1"},
                                           {Column::kGroup, "0"}}));
  ask(host::DirectoryClient::writeRequest({{Column::kCompany, "A&B <C>"}, {Column::kMobile, "2"}}));
}

}  // namespace fuzz
