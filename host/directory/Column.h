#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace host {

/// What an entry of the phonebook consists of. All but the Id are texts: any bytes but NUL, empty
/// when there is nothing. The Id is a number that the phonebook gives and never gives again.
enum class Column {
  Id,
  Surname,
  Firstname,
  Office,
  Office2,
  Mobile,
  Private,
  Email,
  Address,
  Address2,
  Company,
  JobFunction,
  DefaultNumber,
  Picture,
  Group
};

inline constexpr std::array kAllColumns = {
    Column::Id,      Column::Surname,     Column::Firstname,     Column::Office,  Column::Office2,
    Column::Mobile,  Column::Private,     Column::Email,         Column::Address, Column::Address2,
    Column::Company, Column::JobFunction, Column::DefaultNumber, Column::Picture, Column::Group};

/// A column and its value: one element of an entry.
struct ColumnValue {
  Column column;
  std::string value;
};

/// The name of a column in requests and answers.
std::string_view columnName(Column column);
/// The column of that name, spelt exactly so.
std::optional<Column> columnNamed(std::string_view name);

}  // namespace host
