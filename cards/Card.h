#pragma once

#include <array>
#include <nlohmann/json_fwd.hpp>
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

struct CardColumn {
  const char* name;  ///< in the phonebook
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

struct CardNumber {
  const char* label;  ///< for people
  std::string Card::*value;
  const char* digit;  ///< the value of `defaultNumber` that marks this number
};

inline constexpr std::array<CardNumber, 4> kCardNumbers = {{
    {"office", &Card::office, "1"},
    {"office 2", &Card::office2, "2"},
    {"mobile", &Card::mobile, "3"},
    {"private", &Card::privateNumber, "4"},
}};

// All functions are stateless and may be called from any thread.

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
