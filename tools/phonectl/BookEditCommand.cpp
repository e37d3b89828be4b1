#include "tools/phonectl/BookEditCommand.h"

#include <stdexcept>

#include "cards/CardText.h"
#include "tools/phonectl/EntryId.h"
#include "tools/phonectl/Output.h"
#include "tools/phonectl/Phonebook.h"

namespace phonectl {

BookEditCommand::BookEditCommand(CLI::App& parent)
    : Command(parent, "edit", "Change texts of one entry of the phonebook",
              "What is named is replaced, or emptied by an empty text (--mobile \"\"); everything "
              "else\nof the entry stays. An entry can't be left with nothing: `phonectl book "
              "delete` is for that.") {
  app().add_option("id", m_id, "The entry's Id")->required()->type_name("ID")->check(checkId);
  for (const contacts::ContactField& field : contacts::contactFields()) {
    const CLI::Option* const option =
        app()
            .add_option(std::string("--") + field.key, m_contact.*field.value, field.description)
            ->type_name("TEXT");
    m_options.emplace_back(option, &field);
  }
}

int BookEditCommand::run(PhoneBus& bus) {
  const std::vector<host::ColumnValue> changes = texts();
  const StopSignals signals;
  Phonebook book(bus, signals);
  book.update(m_id, changes);
  const std::vector<cards::Card> found = book.withId(m_id);
  // Someone else may have deleted it since.
  printLine(found.empty()
                ? "Changed " + m_id + "."
                : "Changed " + found.front().id + ": " + cards::displayName(found.front()));
  return kDone;
}

std::vector<host::ColumnValue> BookEditCommand::texts() const {
  cards::Card card;
  try {
    card = contacts::cardOf(m_contact);
  } catch (const std::runtime_error& error) {
    throw Failure(kUsage, error.what());
  }
  std::vector<host::ColumnValue> texts;
  for (const auto& [option, field] : m_options) {
    if (option->count() == 0) continue;
    for (const cards::CardColumn& column : cards::kCardColumns) {
      if (column.value == field->column) texts.push_back({column.column, card.*column.value});
    }
  }
  if (!texts.empty()) return texts;
  throw Failure(kUsage, "say what to change, such as --mobile; see: phonectl book edit --help");
}

}  // namespace phonectl
