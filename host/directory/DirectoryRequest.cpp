#include "host/directory/DirectoryRequest.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <new>
#include <pugixml.hpp>
#include <string>
#include <utility>

namespace host {

namespace {

using Kind = DirectoryRequest::Kind;

// The longest valid reference, "&#x10FFFF;", with some leading zeros.
constexpr std::size_t kMaxReferenceBytes = 16;

bool isNamedCharacter(std::string_view name) {
  return name == "amp" || name == "lt" || name == "gt" || name == "quot" || name == "apos";
}

// pugixml truncates larger numbers to 32 bits, and takes zero for the end of the text.
bool isNumberedCharacter(std::string_view name) {
  if (name.size() < 2 || name.front() != '#') return false;
  const bool hexadecimal = name[1] == 'x';
  const std::string_view digits = name.substr(hexadecimal ? 2 : 1);
  std::uint32_t code = 0;
  const auto [end, error] =
      std::from_chars(digits.data(), digits.data() + digits.size(), code, hexadecimal ? 16 : 10);
  if (error != std::errc() || end != digits.data() + digits.size()) return false;
  const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
  return code != 0 && code <= 0x10FFFF && !surrogate;
}

/// Checks the raw text in one pass before the XML parser sees it: bounds what the parser can be
/// made to allocate, and refuses what it would silently drop, truncate or misread.
///
/// Accepted texts have no NUL, comment, CDATA section, document type or processing instruction, a
/// bounded number of tags of bounded size, and only references to a single valid character.
class XmlGate {
 public:
  explicit XmlGate(std::string_view text) : m_text(text) {}

  /// Throws DirectoryRefusal when the text isn't accepted.
  void checkAll();

 private:
  // A request with every element there is has fewer than 40.
  static constexpr std::size_t kMaxTags = 256;
  static constexpr std::size_t kMaxTagBytes = 1024;

  void passTag();
  void passReference();

  const std::string_view m_text;
  std::size_t m_at = 0;
  std::size_t m_tags = 0;
};

void XmlGate::checkAll() {
  if (m_text.size() > DirectoryRequest::kMaxBytes)
    throw DirectoryRefusal("The request is larger than 32 MiB.");
  while (m_at < m_text.size()) {
    switch (m_text[m_at]) {
      case '\0':
        throw DirectoryRefusal("The request contains a NUL byte, which can't be stored.");
      case '<':
        passTag();
        break;
      case '&':
        passReference();
        break;
      default:
        ++m_at;
        break;
    }
  }
}

void XmlGate::passTag() {
  if (++m_tags > kMaxTags) throw DirectoryRefusal("The request contains more than 256 tags.");
  const std::string_view tag = m_text.substr(m_at, kMaxTagBytes);
  if (tag.starts_with("<!"))
    throw DirectoryRefusal("Comments, CDATA sections and document types are not allowed.");
  if (tag.starts_with("<?") && m_tags > 1)
    throw DirectoryRefusal("Processing instructions are not allowed.");
  char quote = '\0';
  for (std::size_t i = 1; i < tag.size(); ++i) {
    const char c = tag[i];
    if (c == '\0') break;
    if (quote == '\0' && c == '>') {
      m_at += i + 1;
      return;
    }
    if (quote == '\0' && (c == '"' || c == '\'')) {
      quote = c;
    } else if (c == quote) {
      quote = '\0';
    }
  }
  throw DirectoryRefusal(
      "The request is not well-formed XML: a tag doesn't end within 1024 bytes.");
}

void XmlGate::passReference() {
  const std::string_view reference = m_text.substr(m_at + 1, kMaxReferenceBytes);
  const std::size_t end = reference.find(';');
  const std::string_view name = reference.substr(0, end);
  if (end == std::string_view::npos || !(isNamedCharacter(name) || isNumberedCharacter(name))) {
    throw DirectoryRefusal(
        "The request contains an \"&\" that doesn't start &amp;, &lt;, &gt;, &quot;, &apos; or "
        "the number of a character that can be stored.");
  }
  m_at += 1 + end + 1;
}

// parse_fragment keeps text outside the root element, so that it can be refused;
// parse_declaration keeps the encoding.
constexpr unsigned kParseFlags = pugi::parse_escapes | pugi::parse_ws_pcdata_single |
                                 pugi::parse_declaration | pugi::parse_fragment;

constexpr std::size_t kMaxIdDigits = 18;

constexpr std::array<std::pair<std::string_view, Kind>, 4> kReasons = {
    {{"read_request", Kind::kRead},
     {"write_request", Kind::kWrite},
     {"update_request", Kind::kUpdate},
     {"delete_request", Kind::kDelete}}};

constexpr std::string_view kWhiteSpace = " \t\r\n";

struct SchemaParts {
  pugi::xml_node reason;
  pugi::xml_node resultColumns;
  pugi::xml_node entry;
};

void refuseUnless(bool condition, const char* reason) {
  if (!condition) throw DirectoryRefusal(reason);
}

bool isBlank(std::string_view text) {
  return text.find_first_not_of(kWhiteSpace) == std::string_view::npos;
}

// The child elements of a node; anything else in it may only be white space.
std::vector<pugi::xml_node> elementsIn(pugi::xml_node node) {
  std::vector<pugi::xml_node> elements;
  for (const pugi::xml_node child : node.children()) {
    if (child.type() == pugi::node_element) {
      elements.push_back(child);
    } else if (child.type() == pugi::node_pcdata) {
      refuseUnless(isBlank(child.value()), "The request contains text outside its values.");
    }
  }
  return elements;
}

std::string_view textOf(pugi::xml_node element) {
  refuseUnless(element.first_attribute().empty(), "Only the Schema element may have an attribute.");
  const pugi::xml_node content = element.first_child();
  if (content.empty()) return {};
  refuseUnless(content.type() == pugi::node_pcdata && content.next_sibling().empty(),
               "The request contains an element where only text is allowed.");
  return content.value();
}

void checkDeclaration(const pugi::xml_document& document) {
  const pugi::xml_attribute encoding = document.first_child().attribute("encoding");
  const bool declared =
      document.first_child().type() == pugi::node_declaration && !encoding.empty();
  refuseUnless(!declared || strcasecmp(encoding.value(), "utf-8") == 0,
               "The request declares an encoding other than utf-8.");
}

pugi::xml_node schemaOf(const pugi::xml_document& document) {
  checkDeclaration(document);
  const std::vector<pugi::xml_node> roots = elementsIn(document);
  refuseUnless(roots.size() == 1 && std::strcmp(roots.front().name(), "Schema") == 0,
               "The request is not a single Schema element.");
  const pugi::xml_node schema = roots.front();
  const pugi::xml_attribute name = schema.first_attribute();
  refuseUnless(std::strcmp(name.name(), "name") == 0 &&
                   std::strcmp(name.value(), "PhoneBook") == 0 && name.next_attribute().empty(),
               "The Schema must have the attribute name=\"PhoneBook\" and no other.");
  return schema;
}

SchemaParts partsOf(pugi::xml_node schema) {
  SchemaParts parts;
  const std::array<std::pair<const char*, pugi::xml_node*>, 3> places = {
      {{"ReasonForMessage", &parts.reason},
       {"ResultCols", &parts.resultColumns},
       {"Entry", &parts.entry}}};
  for (const pugi::xml_node element : elementsIn(schema)) {
    const auto* const place = std::find_if(places.begin(), places.end(), [&](const auto& known) {
      return std::strcmp(known.first, element.name()) == 0;
    });
    refuseUnless(
        place != places.end(),
        "The Schema contains an element other than ReasonForMessage, ResultCols and Entry.");
    refuseUnless(place->second->empty(), "The Schema contains an element twice.");
    *place->second = element;
  }
  return parts;
}

Kind kindOf(pugi::xml_node reason) {
  refuseUnless(!reason.empty(), "The request has no ReasonForMessage.");
  const std::string_view text = textOf(reason);
  const auto* const known = std::find_if(kReasons.begin(), kReasons.end(),
                                         [&](const auto& entry) { return entry.first == text; });
  refuseUnless(known != kReasons.end(),
               "The ReasonForMessage must be read_request, write_request, update_request or "
               "delete_request.");
  return known->second;
}

std::vector<Column> columnsOf(std::string_view names) {
  std::vector<Column> columns;
  for (std::size_t at = names.find_first_not_of(kWhiteSpace); at != std::string_view::npos;
       at = names.find_first_not_of(kWhiteSpace, at)) {
    const std::size_t end = std::min(names.find_first_of(kWhiteSpace, at), names.size());
    const auto column = cards::columnNamed(names.substr(at, end - at));
    refuseUnless(column.has_value(), "ResultCols names a column that the phonebook doesn't have.");
    refuseUnless(std::find(columns.begin(), columns.end(), *column) == columns.end(),
                 "ResultCols names a column twice.");
    columns.push_back(*column);
    at = end;
  }
  return columns;
}

std::vector<ColumnValue> valuesOf(pugi::xml_node entry) {
  refuseUnless(!entry.empty(), "The request has no Entry.");
  refuseUnless(entry.first_attribute().empty(), "Only the Schema element may have an attribute.");
  std::vector<ColumnValue> values;
  std::size_t bytes = 0;
  for (const pugi::xml_node element : elementsIn(entry)) {
    const auto column = cards::columnNamed(element.name());
    refuseUnless(column.has_value(),
                 "The Entry contains an element that is not a column of the phonebook.");
    const bool known = std::any_of(values.begin(), values.end(), [&](const ColumnValue& value) {
      return value.column == column;
    });
    refuseUnless(!known, "The Entry contains an element twice.");
    const std::string_view text = textOf(element);
    bytes += text.size();
    refuseUnless(bytes <= DirectoryRequest::kMaxEntryBytes,
                 "The values of the Entry are larger than 8 MiB.");
    values.push_back({*column, std::string(text)});
  }
  return values;
}

bool isId(const ColumnValue& value) { return value.column == Column::kId; }

void checkId(const std::string& text) {
  const bool digits = text.find_first_not_of("0123456789") == std::string::npos;
  refuseUnless(digits && !text.empty() && text.size() <= kMaxIdDigits, "The Id is not a number.");
}

void checkRead(const std::vector<Column>& columns, const std::vector<ColumnValue>& entry) {
  refuseUnless(!columns.empty(), "The read_request names no column in ResultCols.");
  for (const ColumnValue& value : entry) {
    if (isId(value)) checkId(value.value);
  }
}

void checkWrite(const SchemaParts& parts, const std::vector<ColumnValue>& entry) {
  refuseUnless(parts.resultColumns.empty(), "A write_request must not have ResultCols.");
  refuseUnless(std::none_of(entry.begin(), entry.end(), isId),
               "An Id can't be written: the phonebook assigns it.");
  const auto isEmpty = [](const ColumnValue& value) { return value.value.empty(); };
  refuseUnless(!std::all_of(entry.begin(), entry.end(), isEmpty),
               "The Entry to write has no values.");
}

// Updates and deletes select by Id alone, so that one can't affect entries that its sender hasn't
// seen.
long long takeId(std::vector<ColumnValue>& entry) {
  const auto found = std::find_if(entry.begin(), entry.end(), isId);
  refuseUnless(found != entry.end(), "The Entry has no Id.");
  checkId(found->value);
  const long long id = std::stoll(found->value);
  entry.erase(found);
  return id;
}

void checkDelete(const SchemaParts& parts, const std::vector<ColumnValue>& texts) {
  refuseUnless(parts.resultColumns.empty(), "A delete_request must not have ResultCols.");
  refuseUnless(texts.empty(), "The Entry of a delete_request must have an Id only.");
}

void checkUpdate(const SchemaParts& parts, const std::vector<ColumnValue>& texts) {
  refuseUnless(parts.resultColumns.empty(), "An update_request must not have ResultCols.");
  refuseUnless(!texts.empty(), "The Entry of an update_request has no text to replace.");
}

}  // namespace

DirectoryRequest::DirectoryRequest(Kind kind, std::vector<Column> resultColumns,
                                   std::vector<ColumnValue> entry, long long id)
    : m_kind(kind),
      m_resultColumns(std::move(resultColumns)),
      m_entry(std::move(entry)),
      m_id(id) {}

DirectoryRequest DirectoryRequest::parse(std::string_view text) {
  XmlGate(text).checkAll();
  pugi::xml_document document;
  const pugi::xml_parse_result result =
      document.load_buffer(text.data(), text.size(), kParseFlags, pugi::encoding_utf8);
  if (result.status == pugi::status_out_of_memory) throw std::bad_alloc();
  if (!result)
    throw DirectoryRefusal(std::string("The request is not well-formed XML: ") +
                           result.description() + ".");
  const SchemaParts parts = partsOf(schemaOf(document));
  const Kind kind = kindOf(parts.reason);
  std::vector<Column> columns;
  if (!parts.resultColumns.empty()) columns = columnsOf(textOf(parts.resultColumns));
  std::vector<ColumnValue> entry = valuesOf(parts.entry);
  long long id = 0;
  switch (kind) {
    case Kind::kRead:
      checkRead(columns, entry);
      break;
    case Kind::kWrite:
      checkWrite(parts, entry);
      break;
    case Kind::kUpdate:
      id = takeId(entry);
      checkUpdate(parts, entry);
      break;
    case Kind::kDelete:
      id = takeId(entry);
      checkDelete(parts, entry);
      break;
  }
  return {kind, std::move(columns), std::move(entry), id};
}

}  // namespace host
