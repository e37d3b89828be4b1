#include "tools/phonectl/Phonebook.h"

#include <algorithm>
#include <array>
#include <stdexcept>

#include "cards/CardText.h"
#include "cards/SafeText.h"
#include "tools/phonectl/CardSearch.h"
#include "tools/phonectl/CardTable.h"
#include "tools/phonectl/EntryId.h"

namespace phonectl {

namespace {

const std::vector<host::Column> kNameColumns = {host::Column::kId, host::Column::kSurname,
                                                host::Column::kFirstname, host::Column::kCompany};

constexpr std::size_t kMaxListed = 20;

const std::vector<host::Column> kEveryColumn(host::kAllColumns.begin(), host::kAllColumns.end());

// What makes two cards the same for the phone.
constexpr std::array kSameColumns = {host::Column::kFirstname, host::Column::kSurname,
                                     host::Column::kMobile,    host::Column::kPrivate,
                                     host::Column::kOffice,    host::Column::kOffice2};

[[noreturn]] void refuseAmbiguous(const std::vector<cards::Card>& found) {
  const std::vector<cards::Card> listed(
      found.begin(),
      found.begin() + static_cast<std::ptrdiff_t>(std::min(found.size(), kMaxListed)));
  std::string sentence =
      std::to_string(found.size()) + " entries have that name. Name one by its Id:";
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

std::vector<cards::Card> Phonebook::list(const std::vector<host::Column>& columns) {
  return read(host::DirectoryClient::listRequest(columns));
}

std::vector<cards::Card> Phonebook::withId(const std::string& id) {
  return read(host::DirectoryClient::matchRequest(kEveryColumn, {{host::Column::kId, id}}));
}

cards::Card Phonebook::named(const std::string& which) {
  if (checkId(which).empty()) {
    const std::vector<cards::Card> found = withId(which);
    if (!found.empty()) return found.front();
  }
  const std::vector<cards::Card> matching = cardsNamed(list(kNameColumns), which);
  if (matching.size() > 1) refuseAmbiguous(matching);
  const std::vector<cards::Card> found = matching.empty() ? matching : withId(matching.front().id);
  if (!found.empty()) return found.front();
  throw Failure(kFailed, "there is no \"" + cards::safeText(which, cards::kMaxShown) +
                             "\" in the phonebook. See: phonectl book list");
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

void Phonebook::update(const std::string& id, const std::vector<host::ColumnValue>& texts) {
  ask(host::DirectoryClient::updateRequest(id, texts));
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
  // Ids begin with 1, as this phonebook gives them.
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
      m_patient.run({kDirectory, "handleRequest", bytes(request)});
  try {
    return host::DirectoryClient::parseAnswer(firstText(answer));
  } catch (const std::runtime_error& error) {
    throw Failure(kFailed, error.what());
  }
}

}  // namespace phonectl
