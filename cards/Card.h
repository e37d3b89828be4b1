#pragma once

#include <array>
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

/// A column of the phonebook and where a card keeps it.
struct CardColumn {
  const char* name;
  std::string Card::*value;
};

/// All columns, in the phonebook's order.
inline constexpr std::array<CardColumn, 15> kCardColumns = {{
    {"Id", &Card::id},
    {"Surname", &Card::surname},
    {"Firstname", &Card::firstname},
    {"Office", &Card::office},
    {"Office2", &Card::office2},
    {"Mobile", &Card::mobile},
    {"Private", &Card::privateNumber},
    {"Email", &Card::email},
    {"Address", &Card::address},
    {"Address2", &Card::address2},
    {"Company", &Card::company},
    {"JobFunction", &Card::jobFunction},
    {"DefaultNumber", &Card::defaultNumber},
    {"Picture", &Card::picture},
    {"Group", &Card::group},
}};

/// One of a card's four telephone numbers.
struct CardNumber {
  const char* label;  ///< for people
  std::string Card::*value;
  const char* digit;  ///< what `defaultNumber` holds when this is the default
};

inline constexpr std::array<CardNumber, 4> kCardNumbers = {{
    {"office", &Card::office, "1"},
    {"office 2", &Card::office2, "2"},
    {"mobile", &Card::mobile, "3"},
    {"private", &Card::privateNumber, "4"},
}};

/// Sets the column of that name. Returns false when a card has no such column.
bool setColumn(Card& card, std::string_view name, std::string_view value);

/// Whether the card says anything: neither Id nor Group do.
bool holdsAnything(const Card& card);

}  // namespace cards
