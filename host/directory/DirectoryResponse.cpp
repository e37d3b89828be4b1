#include "host/directory/DirectoryResponse.h"

#include <utility>

#include "host/directory/DirectoryRequest.h"
#include "host/directory/XmlText.h"

namespace host {

namespace {

static_assert(DirectoryRequest::kMaxEntryBytes * kXmlMaxGrowth + (std::size_t{1} << 20) <
                  DirectoryResponse::kMaxBytes,
              "one entry must fit into an answer");

std::string begin(std::string_view reason) {
  std::string text(kXmlHead);
  return text.append(reason).append("</ReasonForMessage>");
}

std::string end(std::string text) { return text.append(kXmlTail); }

std::string done(std::string_view reason, long long id) {
  std::string text = begin(reason);
  appendElement(text, cards::cardColumn(Column::kId).name, std::to_string(id));
  return end(std::move(text));
}

// Only someone who edits the database can store a NUL. XML can't express it, so it becomes U+FFFD.
void appendValue(std::string& text, Column column, const std::string& value) {
  const std::string_view name = cards::cardColumn(column).name;
  if (value.find('\0') == std::string::npos) {
    appendElement(text, name, value);
    return;
  }
  std::string shown;
  for (const char c : value) shown.append(c == '\0' ? "\xEF\xBF\xBD" : std::string(1, c));
  appendElement(text, name, shown);
}

}  // namespace

std::string DirectoryResponse::failure(std::string_view reason) {
  std::string text = begin("failure");
  appendElement(text, "Reason", reason);
  return end(std::move(text));
}

std::string DirectoryResponse::written(long long id) { return done("write_response", id); }

std::string DirectoryResponse::updated(long long id) { return done("update_response", id); }

std::string DirectoryResponse::deleted(long long id) { return done("delete_response", id); }

DirectoryResponse::DirectoryResponse(std::vector<Column> columns)
    : m_columns(std::move(columns)), m_text(begin("read_response")) {}

void DirectoryResponse::add(const std::vector<std::string>& values) {
  m_text.append("<Entry>");
  for (std::size_t i = 0; i < m_columns.size(); ++i)
    appendValue(m_text, m_columns[i], values.at(i));
  m_text.append("</Entry>");
  if (m_text.size() + kXmlTail.size() <= kMaxBytes) return;
  throw DirectoryRefusal(kTooLarge);
}

std::string DirectoryResponse::finish() { return end(std::exchange(m_text, {})); }

}  // namespace host
