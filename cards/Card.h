#pragma once

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace cards {

/// One card, as the phonebook keeps it: every column is a text, empty when there is nothing. The
/// texts were written by strangers: they may hold any bytes, also such as aren't UTF-8, and are
/// shown through SafeText only. A plain value.
struct Card {
  std::string id{};  ///< given by the phonebook; empty for a card that isn't in it
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
  std::string picture{};        ///< a file's name beneath the images folder
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
    {Column::kOffice, "Office", "office", &Card::office, "office", "1", "office", "Number at work"},
    {Column::kOffice2, "Office2", "office2", &Card::office2, "office 2", "2", "office2",
     "Second number at work"},
    {Column::kMobile, "Mobile", "mobile", &Card::mobile, "mobile", "3", "mobile", "Mobile number"},
    {Column::kPrivate, "Private", "private", &Card::privateNumber, "private", "4", "privatenumber",
     "Number at home"},
    {Column::kEmail, "Email", "email", &Card::email, "e-mail", "", "email", "E-mail address"},
    {Column::kAddress, "Address", "address", &Card::address, "address", "", "address",
     "Address, one text"},
    {Column::kAddress2, "Address2", "address2", &Card::address2, "address 2", "", "address2",
     "Second address, one text"},
    {Column::kCompany, "Company", "company", &Card::company, "company", "", "company", "Company"},
    {Column::kJobFunction, "JobFunction", "jobfunction", &Card::jobFunction, "job", "",
     "jobfunction", "Title or job"},
    {Column::kDefaultNumber, "DefaultNumber", "defaultnumber", &Card::defaultNumber, "", "",
     "defaultnumber", "The preferred number: Office, Office2, Mobile or Private"},
    {Column::kPicture, "Picture", "picture", &Card::picture, "photo", "", "picture",
     "A JPEG file in /data/images, by its name"},
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

/// The column of that name; names are case-sensitive.
std::optional<Column> columnNamed(std::string_view name);

/// Sets the column of that name. Returns false when a card has no such column.
bool setColumn(Card& card, std::string_view name, std::string_view value);

/// Whether the card says anything: neither Id nor Group do.
bool holdsAnything(const Card& card);

}  // namespace cards
