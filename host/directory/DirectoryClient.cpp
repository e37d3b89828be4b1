#include "host/directory/DirectoryClient.h"

#include <algorithm>
#include <optional>
#include <pugixml.hpp>

#include "host/directory/XmlText.h"

namespace host {

namespace {

constexpr unsigned kParseFlags = pugi::parse_escapes | pugi::parse_ws_pcdata_single;

std::string request(std::string_view reason, const std::vector<Column>& columns,
                    const std::vector<ColumnValue>& entry) {
  std::string text(kXmlHead);
  text.append(reason).append("</ReasonForMessage>");
  std::string names;
  for (const Column column : columns) {
    if (!names.empty()) names.append(" ");
    names.append(cards::cardColumn(column).name);
  }
  if (!columns.empty()) appendElement(text, "ResultCols", names);
  text.append("<Entry>");
  for (const ColumnValue& value : entry)
    appendElement(text, cards::cardColumn(value.column).name, value.value);
  return text.append("</Entry>").append(kXmlTail);
}

std::optional<DirectoryAnswer::Kind> changeOf(std::string_view reason) {
  if (reason == "write_response") return DirectoryAnswer::Kind::kWritten;
  if (reason == "update_response") return DirectoryAnswer::Kind::kUpdated;
  if (reason == "delete_response") return DirectoryAnswer::Kind::kDeleted;
  return std::nullopt;
}

// Ignores columns of later versions: they weren't requested.
DirectoryEntry entryOf(pugi::xml_node node) {
  DirectoryEntry entry;
  for (const pugi::xml_node element : node.children()) {
    const auto column = cards::columnNamed(element.name());
    if (column) entry.values.push_back({*column, element.child_value()});
  }
  return entry;
}

}  // namespace

std::string_view DirectoryEntry::value(Column column) const {
  const auto found = std::find_if(values.begin(), values.end(),
                                  [&](const ColumnValue& value) { return value.column == column; });
  if (found == values.end()) return {};
  return found->value;
}

std::string DirectoryClient::listRequest(const std::vector<Column>& columns) {
  return request("read_request", columns, {});
}

std::string DirectoryClient::matchRequest(const std::vector<Column>& columns,
                                          const std::vector<ColumnValue>& match) {
  return request("read_request", columns, match);
}

std::string DirectoryClient::writeRequest(const std::vector<ColumnValue>& entry) {
  return request("write_request", {}, entry);
}

std::string DirectoryClient::updateRequest(const std::string& id,
                                           const std::vector<ColumnValue>& texts) {
  std::vector<ColumnValue> entry = {{Column::kId, id}};
  entry.insert(entry.end(), texts.begin(), texts.end());
  return request("update_request", {}, entry);
}

std::string DirectoryClient::deleteRequest(const std::string& id) {
  return request("delete_request", {}, {{Column::kId, id}});
}

DirectoryAnswer DirectoryClient::parseAnswer(std::string_view text) {
  pugi::xml_document document;
  const pugi::xml_parse_result result =
      document.load_buffer(text.data(), text.size(), kParseFlags, pugi::encoding_utf8);
  const pugi::xml_node schema = document.child("Schema");
  const std::string_view reason = schema.child_value("ReasonForMessage");
  DirectoryAnswer answer;
  if (result && reason == "failure") {
    answer.reason = schema.child_value("Reason");
  } else if (const auto change = changeOf(reason); result && change) {
    answer.kind = *change;
    answer.id = schema.child_value("Id");
  } else if (result && reason == "read_response") {
    answer.kind = DirectoryAnswer::Kind::kRead;
    for (const pugi::xml_node entry : schema.children("Entry"))
      answer.entries.push_back(entryOf(entry));
  } else {
    throw std::runtime_error(
        "The phonebook's answer can't be understood. Is the phone a different version?");
  }
  return answer;
}

}  // namespace host
