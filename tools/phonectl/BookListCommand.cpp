#include "tools/phonectl/BookListCommand.h"

#include <iostream>

#include "cards/CardJson.h"
#include "tools/phonectl/CardTable.h"
#include "tools/phonectl/Output.h"
#include "tools/phonectl/Phonebook.h"

namespace phonectl {

namespace {

const std::vector<host::Column> kTableColumns = {
    host::Column::kId,      host::Column::kSurname, host::Column::kFirstname,
    host::Column::kOffice,  host::Column::kOffice2, host::Column::kMobile,
    host::Column::kPrivate, host::Column::kCompany, host::Column::kDefaultNumber};

const std::vector<host::Column> kEveryColumn(host::kAllColumns.begin(), host::kAllColumns.end());

}  // namespace

BookListCommand::BookListCommand(CLI::App& parent)
    : Command(parent, "list", "List the phonebook: Id, name and numbers",
              "The default number is marked with a star. --json prints an array with one object a\n"
              "line, which has every column of the phonebook under its name.") {
  app().add_flag("--json", m_json, "Every column of every entry, as a JSON array");
}

int BookListCommand::run(PhoneBus& bus) {
  const StopSignals signals;
  const std::vector<cards::Card> cards =
      Phonebook(bus, signals).list(m_json ? kEveryColumn : kTableColumns);
  if (m_json) {
    printJson(cards);
  } else if (cards.empty()) {
    std::cerr << "phonectl: the phonebook is empty" << std::endl;
  } else {
    std::string table;
    for (const std::string& line : cardTable(cards)) table += line + "\n";
    printPrompt(table);
  }
  return kDone;
}

void BookListCommand::printJson(const std::vector<cards::Card>& cards) {
  std::string text = "[";
  for (const cards::Card& card : cards) {
    text += (text.size() == 1 ? "\n" : ",\n") + cards::jsonLine(cards::cardJson(card));
  }
  printLine(text + (cards.empty() ? "]" : "\n]"));
}

}  // namespace phonectl
