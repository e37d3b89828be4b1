#include "tools/phonectl/Phonebook.h"

#include <glib.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <memory>
#include <stdexcept>

#include "cards/SafeText.h"
#include "tools/phonectl/Parameters.h"

namespace phonectl {

namespace {

// Tables

constexpr std::size_t kMaxNumberShown = 40;
constexpr const char* kGap = "  ";

using Row = std::array<std::string, 3>;

std::string numbersOf(const cards::Card& card) {
  std::string shown;
  for (const cards::CardColumn& number : cards::kCardNumbers) {
    const std::string& value = card.*number.value;
    if (value.empty()) continue;
    shown += shown.empty() ? "" : ", ";
    shown += std::string(number.label) + " " + cards::safeText(value, kMaxNumberShown);
    if (card.defaultNumber == number.digit) shown += "*";
  }
  return shown;
}

std::string padded(const std::string& safe, std::size_t width) {
  const std::size_t taken = cards::displayWidth(safe);
  return safe + std::string(width > taken ? width - taken : 0, ' ');
}

// Searching

using Text = std::unique_ptr<char, decltype(&g_free)>;

// For comparing: case-folded, with accents composed.
std::string folded(const std::string& text) {
  const Text valid(g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())), g_free);
  const Text normal(g_utf8_normalize(valid.get(), -1, G_NORMALIZE_ALL_COMPOSE), g_free);
  const Text plain(g_utf8_casefold(normal.get(), -1), g_free);
  return plain.get();
}

std::vector<std::string> namesOf(const cards::Card& card) {
  std::vector<std::string> names;
  for (const std::string& name :
       {card.surname, card.firstname, card.company, card.firstname + " " + card.surname,
        card.surname + " " + card.firstname, card.surname + ", " + card.firstname}) {
    names.push_back(folded(name));
  }
  return names;
}

template <typename Matches>
std::vector<cards::Card> cardsWhere(const std::vector<cards::Card>& cards, const Matches& matches) {
  std::vector<cards::Card> found;
  std::copy_if(cards.begin(), cards.end(), std::back_inserter(found), [&](const cards::Card& card) {
    const std::vector<std::string> names = namesOf(card);
    return std::any_of(names.begin(), names.end(), matches);
  });
  return found;
}

// Requests

const std::vector<host::Column> kNameColumns = {host::Column::kId, host::Column::kSurname,
                                                host::Column::kFirstname, host::Column::kCompany};

constexpr std::size_t kMaxListed = 20;

const std::vector<host::Column> kEveryColumn(host::kAllColumns.begin(), host::kAllColumns.end());

// The phone treats cards that agree in these as duplicates.
constexpr std::array kSameColumns = {host::Column::kFirstname, host::Column::kSurname,
                                     host::Column::kMobile,    host::Column::kPrivate,
                                     host::Column::kOffice,    host::Column::kOffice2};

[[noreturn]] void refuseAmbiguous(const std::vector<cards::Card>& found) {
  const std::vector<cards::Card> listed(
      found.begin(),
      found.begin() + static_cast<std::ptrdiff_t>(std::min(found.size(), kMaxListed)));
  std::string sentence =
      std::to_string(found.size()) + " entries have that name; give the id of one:";
  for (const std::string& line : cardTable(listed)) sentence += "\n  " + line;
  if (listed.size() < found.size()) sentence += "\n  ...";
  throw Failure(kFailed, sentence);
}

[[noreturn]] void refuse(const std::string& reason) {
  throw Failure(kFailed, "the phonebook refused: " + cards::safeText(reason));
}

cards::Card cardOf(const host::DirectoryEntry& entry) {
  cards::Card card;
  for (const host::ColumnValue& value : entry.values) {
    card.*cards::cardColumn(value.column).value = value.value;
  }
  return card;
}

Glib::VariantContainerBase bytes(const std::string& text) {
  GVariant* const array =
      g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, text.data(), text.size(), 1);
  return Glib::VariantContainerBase(g_variant_new_tuple(&array, 1));
}

std::string firstText(const Glib::VariantContainerBase& answer) {
  if (answer.get_n_children() != 1) return "";
  Glib::VariantBase text;
  answer.get_child(text, 0);
  return Parameters::textIn(text).value_or("");
}

}  // namespace

bool isEntryId(const std::string& text) {
  constexpr std::size_t kMaxDigits = 18;
  return !text.empty() && text.size() <= kMaxDigits &&
         text.find_first_not_of("0123456789") == std::string::npos;
}

std::vector<std::string> cardTable(const std::vector<cards::Card>& cards) {
  std::vector<Row> rows{{"ID", "NAME", "NUMBERS"}};
  for (const cards::Card& card : cards) {
    rows.push_back({cards::safeText(card.id), cards::displayName(card), numbersOf(card)});
  }
  std::size_t idWidth = 0;
  std::size_t nameWidth = 0;
  for (const Row& row : rows) {
    idWidth = std::max(idWidth, cards::displayWidth(row[0]));
    nameWidth = std::max(nameWidth, cards::displayWidth(row[1]));
  }
  std::vector<std::string> lines;
  for (const Row& row : rows) {
    std::string line = padded(row[0], idWidth) + kGap + padded(row[1], nameWidth) + kGap + row[2];
    line.erase(line.find_last_not_of(' ') + 1);
    lines.push_back(line);
  }
  return lines;
}

std::vector<cards::Card> cardsNamed(const std::vector<cards::Card>& cards,
                                    const std::string& name) {
  const std::string wanted = folded(name);
  if (wanted.empty()) return {};
  std::vector<cards::Card> found =
      cardsWhere(cards, [&](const std::string& candidate) { return candidate == wanted; });
  if (!found.empty()) return found;
  return cardsWhere(cards, [&](const std::string& candidate) {
    return candidate.find(wanted) != std::string::npos;
  });
}

std::vector<cards::Card> Phonebook::list(const std::vector<host::Column>& columns) {
  return read(host::DirectoryClient::listRequest(columns));
}

std::vector<cards::Card> Phonebook::withId(const std::string& id) {
  return read(host::DirectoryClient::matchRequest(kEveryColumn, {{host::Column::kId, id}}));
}

cards::Card Phonebook::named(const std::string& which) {
  if (isEntryId(which)) {
    const std::vector<cards::Card> found = withId(which);
    if (!found.empty()) return found.front();
  }
  const std::vector<cards::Card> matching = cardsNamed(list(kNameColumns), which);
  if (matching.size() > 1) refuseAmbiguous(matching);
  const std::vector<cards::Card> found = matching.empty() ? matching : withId(matching.front().id);
  if (!found.empty()) return found.front();
  throw Failure(kFailed,
                "the phonebook has no entry \"" + cards::safeText(which, cards::kMaxShown) + "\"",
                "list all entries with: phonectl book list");
}

std::vector<cards::Card> Phonebook::same(const cards::Card& card) {
  std::vector<host::ColumnValue> match;
  for (const auto column : kSameColumns)
    match.push_back({column, card.*cards::cardColumn(column).value});
  return read(host::DirectoryClient::matchRequest(kEveryColumn, match));
}

std::string Phonebook::add(const cards::Card& card) {
  std::vector<host::ColumnValue> entry;
  for (const auto column : kEveryColumn) {
    if (column != host::Column::kId)
      entry.push_back({column, card.*cards::cardColumn(column).value});
  }
  return write(host::DirectoryClient::writeRequest(entry));
}

std::string Phonebook::write(const std::string& message) { return ask(message).id; }

void Phonebook::update(const std::string& id, const std::vector<host::ColumnValue>& values) {
  ask(host::DirectoryClient::updateRequest(id, values));
}

void Phonebook::remove(const std::string& id) { ask(host::DirectoryClient::deleteRequest(id)); }

std::vector<cards::Card> Phonebook::read(const std::string& request) {
  const host::DirectoryAnswer answer = ask(request);
  std::vector<cards::Card> cards;
  cards.reserve(answer.entries.size());
  for (const host::DirectoryEntry& entry : answer.entries) cards.push_back(cardOf(entry));
  return cards;
}

void Phonebook::tryWriting() {
  // Ids start at 1.
  if (!withId("0").empty()) return;
  const host::DirectoryAnswer answer =
      answerTo(host::DirectoryClient::updateRequest("0", {{host::Column::kSurname, "-"}}));
  if (answer.reason != host::kUnknownId) refuse(answer.reason);
}

host::DirectoryAnswer Phonebook::ask(const std::string& request) {
  host::DirectoryAnswer answer = answerTo(request);
  if (answer.kind == host::DirectoryAnswer::Kind::kFailure) refuse(answer.reason);
  return answer;
}

host::DirectoryAnswer Phonebook::answerTo(const std::string& request) {
  const Glib::VariantContainerBase answer =
      m_call.run({kDirectory, "handleRequest", bytes(request)});
  try {
    return host::DirectoryClient::parseAnswer(firstText(answer));
  } catch (const std::runtime_error& error) {
    throw Failure(kFailed, error.what());
  }
}

}  // namespace phonectl
