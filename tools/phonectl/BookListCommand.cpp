#include <iostream>

#include "tools/phonectl/Commands.h"
#include "tools/phonectl/Phonebook.h"

namespace phonectl {

namespace {

const std::vector<host::Column> kTableColumns = {
    host::Column::kId,      host::Column::kSurname, host::Column::kFirstname,
    host::Column::kOffice,  host::Column::kOffice2, host::Column::kMobile,
    host::Column::kPrivate, host::Column::kCompany, host::Column::kDefaultNumber};

const std::vector<host::Column> kEveryColumn(host::kAllColumns.begin(), host::kAllColumns.end());

void printJson(const std::vector<cards::Card>& cards) {
  std::string text = "[";
  for (const cards::Card& card : cards) {
    text += (text.size() == 1 ? "\n" : ",\n") + cards::jsonLine(cards::cardJson(card));
  }
  printLine(text + (cards.empty() ? "]" : "\n]"));
}

void list(const Context& context) {
  PhoneBus bus(context.place());
  const StopSignals signals;
  const std::vector<cards::Card> cards =
      Phonebook(bus, signals).list(context.json ? kEveryColumn : kTableColumns);
  if (context.json) {
    printJson(cards);
  } else if (cards.empty()) {
    std::cerr << "phonectl: the phonebook is empty" << std::endl;
  } else {
    std::string table;
    for (const std::string& line : cardTable(cards)) table += line + "\n";
    print(table);
  }
}

}  // namespace

void addBookList(CLI::App& parent, Context& context) {
  CLI::App& command = addCommand(
      parent, "list", "List all entries: id, name and numbers",
      "The default number is marked with a star. --json prints an array with one object\n"
      "per line, which has every column of the phonebook.");
  command.add_flag("--json", context.json, "All columns of all entries, as a JSON array");
  command.callback([&context] { list(context); });
}

}  // namespace phonectl
