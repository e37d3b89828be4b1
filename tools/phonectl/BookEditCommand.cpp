#include <memory>
#include <stdexcept>

#include "tools/phonectl/Commands.h"
#include "tools/phonectl/Phonebook.h"

namespace phonectl {

namespace {

struct Options {
  std::string id;
  cards::Contact contact;
};

/// The columns whose options are on the command line; an empty value clears a column.
std::vector<host::ColumnValue> changes(const CLI::App& command, const cards::Contact& contact) {
  cards::Card card;
  try {
    card = cards::cardOf(contact);
  } catch (const std::runtime_error& error) {
    throw Failure(kUsage, error.what());
  }
  std::vector<host::ColumnValue> values;
  for (const cards::CardColumn& column : cards::kCardColumns) {
    const std::string key = column.key;
    if (!key.empty() && command.count("--" + key) != 0)
      values.push_back({column.column, card.*column.value});
  }
  if (!values.empty()) return values;
  throw Failure(kUsage, "nothing to change",
                "give an option such as --mobile; see phonectl book edit --help");
}

void edit(const Context& context, const std::string& id,
          const std::vector<host::ColumnValue>& values) {
  PhoneBus bus(context.place());
  const StopSignals signals;
  Phonebook book(bus, signals);
  book.update(id, values);
  const std::vector<cards::Card> found = book.withId(id);
  // Someone else may have deleted the entry since.
  printLine(found.empty()
                ? "Changed " + id + "."
                : "Changed " + found.front().id + ": " + cards::displayName(found.front()));
}

}  // namespace

void addBookEdit(CLI::App& parent, Context& context) {
  CLI::App& command = addCommand(
      parent, "edit", "Change fields of one entry",
      "Replaces the given fields; an empty value (--mobile \"\") clears a field. The other fields\n"
      "stay. An entry can't be left empty; use `phonectl book delete` to remove it.");
  const auto options = std::make_shared<Options>();
  command.add_option("id", options->id, "Id of the entry")
      ->required()
      ->type_name("ID")
      ->check(entryId());
  addContactOptions(command, options->contact);
  command.callback([&context, &command, options] {
    edit(context, options->id, changes(command, options->contact));
  });
}

}  // namespace phonectl
