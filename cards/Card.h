#pragma once

#include <algorithm>
#include <array>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace cards {

/// A phonebook entry: one string per column, empty when unset. The strings come from strangers and
/// may hold any bytes, valid UTF-8 or not; pass them through safeText() before showing them.
struct Card {
  std::string id{};  ///< assigned by the phonebook; empty for a card that isn't in it
  std::string surname{};
  std::string firstname{};
  std::string office{};
  std::string office2{};
  std::string mobile{};
  std::string privateNumber{};
  std::string email{};
  std::string address{};
  std::string address2{};
  std::string company{};
  std::string jobFunction{};
  std::string defaultNumber{};  ///< "1" office, "2" second office, "3" mobile, "4" private
  std::string picture{};        ///< file name relative to the images folder
  std::string group{};

  bool operator==(const Card&) const = default;
};

/// The columns of a card, in the phonebook's order.
enum class Column {
  kId,
  kSurname,
  kFirstname,
  kOffice,
  kOffice2,
  kMobile,
  kPrivate,
  kEmail,
  kAddress,
  kAddress2,
  kCompany,
  kJobFunction,
  kDefaultNumber,
  kPicture,
  kGroup
};

/// Every name of a column. An empty text means that there is none.
struct CardColumn {
  Column column;
  const char* name;     ///< in the phonebook's requests and answers, and in the JSON of a card
  const char* sqlName;  ///< in the database
  std::string Card::*value;
  const char* label;        ///< shown to people
  const char* digit;        ///< of a telephone number: `defaultNumber` when it is the default
  const char* key;          ///< option of phonectl, and field in the JSON of a contact
  const char* description;  ///< help text of that option
};

/// All columns, in the order of the enumeration.
inline constexpr std::array<CardColumn, 15> kCardColumns = {{
    {Column::kId, "Id", "id", &Card::id, "", "", "", ""},
    {Column::kSurname, "Surname", "surname", &Card::surname, "", "", "surname", "Surname"},
    {Column::kFirstname, "Firstname", "firstname", &Card::firstname, "", "", "firstname",
     "First name"},
    {Column::kOffice, "Office", "office", &Card::office, "office", "1", "office", "Work number"},
    {Column::kOffice2, "Office2", "office2", &Card::office2, "office 2", "2", "office2",
     "Second work number"},
    {Column::kMobile, "Mobile", "mobile", &Card::mobile, "mobile", "3", "mobile", "Mobile number"},
    {Column::kPrivate, "Private", "private", &Card::privateNumber, "private", "4", "privatenumber",
     "Home number"},
    {Column::kEmail, "Email", "email", &Card::email, "e-mail", "", "email", "E-mail address"},
    {Column::kAddress, "Address", "address", &Card::address, "address", "", "address",
     "Postal address"},
    {Column::kAddress2, "Address2", "address2", &Card::address2, "address 2", "", "address2",
     "Second postal address"},
    {Column::kCompany, "Company", "company", &Card::company, "company", "", "company", "Company"},
    {Column::kJobFunction, "JobFunction", "jobfunction", &Card::jobFunction, "job", "",
     "jobfunction", "Job title"},
    {Column::kDefaultNumber, "DefaultNumber", "defaultnumber", &Card::defaultNumber, "", "",
     "defaultnumber", "Preferred number: Office, Office2, Mobile or Private"},
    {Column::kPicture, "Picture", "picture", &Card::picture, "photo", "", "picture",
     "Name of a JPEG file in /data/images"},
    // GROUP is a keyword of SQL.
    {Column::kGroup, "Group", "contact_group", &Card::group, "", "", "", ""},
}};

constexpr const CardColumn& cardColumn(Column column) {
  return kCardColumns.at(static_cast<std::size_t>(column));
}

static_assert(std::all_of(kCardColumns.begin(), kCardColumns.end(), [](const CardColumn& column) {
  return &cardColumn(column.column) == &column;
}));

/// The four telephone numbers.
inline constexpr auto kCardNumbers =
    std::span(kCardColumns).subspan<static_cast<std::size_t>(Column::kOffice), 4>();

inline constexpr auto kAllColumns = [] {
  std::array<Column, kCardColumns.size()> all{};
  std::transform(kCardColumns.begin(), kCardColumns.end(), all.begin(),
                 [](const CardColumn& column) { return column.column; });
  return all;
}();

/// A column and its value.
struct ColumnValue {
  Column column;
  std::string value;
};

// All functions are stateless and may be called from any thread.

/// The column of that name; names are case-sensitive.
std::optional<Column> columnNamed(std::string_view name);

/// Sets a column by name. Returns false if there is no such column.
bool setColumn(Card& card, std::string_view name, std::string_view value);

/// True if any column other than Id and Group is set.
bool holdsAnything(const Card& card);

/// Parses a phonebook write message, the XML in which the phone offers a received card. Unknown
/// elements and Id are ignored. Throws std::runtime_error with a message for the user.
Card cardFromMessage(std::string_view xml);

// Showing cards. Results are safe to print on a terminal; values are truncated to kMaxShown
// characters.

/// "Doe, John"; the company for a card without a name; "(no name)" without either.
std::string displayName(const Card& card);

/// The non-empty components of a semicolon-separated value (address, company), joined by commas.
std::string displayComponents(const std::string& value);

/// One line per set field, label and value, with the default number marked and the photo as a path
/// in `imagesFolder`.
std::vector<std::string> cardLines(const Card& card, const std::string& imagesFolder);

/// Every column under its phonebook name, empty ones included; Id only if set.
nlohmann::ordered_json cardJson(const Card& card);

/// Compact JSON without a trailing newline. Invalid UTF-8 becomes U+FFFD; characters that could
/// control a terminal are escaped.
std::string jsonLine(const nlohmann::ordered_json& json);

}  // namespace cards
