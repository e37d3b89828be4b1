#include "tools/phonectl/Phonebook.h"

#include <stdexcept>

#include "tools/cards/SafeText.h"

namespace phonectl {

namespace {

cards::Card cardOf(const host::DirectoryEntry& entry) {
  cards::Card card;
  for (const host::ColumnValue& value : entry.values) {
    cards::setColumn(card, host::columnName(value.column), value.value);
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
  const std::vector<host::Column> all(host::kAllColumns.begin(), host::kAllColumns.end());
  return read(host::DirectoryClient::matchRequest(all, {{host::Column::Id, id}}));
}

std::vector<cards::Card> Phonebook::read(const std::string& request) {
  const host::DirectoryAnswer answer = ask(request);
  std::vector<cards::Card> cards;
  cards.reserve(answer.entries.size());
  for (const host::DirectoryEntry& entry : answer.entries) cards.push_back(cardOf(entry));
  return cards;
}

host::DirectoryAnswer Phonebook::ask(const std::string& request) {
  const Glib::VariantContainerBase answer =
      m_patient.run({kDirectory, "handleRequest", bytes(request)});
  host::DirectoryAnswer understood;
  try {
    understood = host::DirectoryClient::parseAnswer(firstText(answer));
  } catch (const std::runtime_error& error) {
    throw Failure(kFailed, error.what());
  }
  if (understood.kind == host::DirectoryAnswer::Kind::Failure) {
    throw Failure(kFailed, "the phonebook refused: " + cards::safeText(understood.reason));
  }
  return understood;
}

}  // namespace phonectl
