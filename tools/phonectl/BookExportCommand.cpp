#include "tools/phonectl/BookExportCommand.h"

#include <unistd.h>

#include <optional>

#include "cards/SafeText.h"
#include "cards/SentCard.h"
#include "tools/phonectl/AtomicFile.h"
#include "tools/phonectl/CardExport.h"
#include "tools/phonectl/EntryId.h"
#include "tools/phonectl/Output.h"

namespace phonectl {

BookExportCommand::BookExportCommand(CLI::App& parent)
    : Command(
          parent, "export", "Write the phonebook, or some entries of it, as cards",
          "Writes one card after the other, each as the phone sends it; `phonectl book import`\n"
          "takes such a file. A file appears when it is complete, readable by its owner only, and\n"
          "replaces one of that name in one step.\n"
          "Cards have no place for Id and Group; a picture gets a name of its own when it is\n"
          "imported; where there are numbers but no default one, the first becomes it. Whatever\n"
          "else would not come back - a picture that can't be read, the rest of one beyond 102400\n"
          "bytes, a text that the phone reads differently - is told entry by entry, the card is\n"
          "written all the same, and the exit code is 1, as when an Id isn't there.") {
  app()
      .add_option("ids", m_ids, "Only these entries, by their Ids")
      ->type_name("ID")
      ->check(checkId);
  app()
      .add_option("--out", m_out, "The .vcf file to write, or - for standard output")
      ->type_name("FILE|-")
      ->capture_default_str();
}

int BookExportCommand::run(PhoneBus& bus) {
  const StopSignals signals;
  Phonebook book(bus, signals);
  std::optional<AtomicFile> file;
  if (m_out != "-") file.emplace(m_out);
  const bool terminal = !file && ::isatty(STDOUT_FILENO) == 1;
  CardExport cards(book, [&](const std::string& card) {
    if (file) {
      file->write(card);
    } else {
      printPrompt(terminal ? contacts::safeCardLines(card) : card);
    }
  });
  cards.write(ids(book));
  if (file) {
    file->commit();
    printLine(cards.summary() + " to " + cards::safeText(m_out));
  }
  return cards.complete() ? kDone : kFailed;
}

std::vector<std::string> BookExportCommand::ids(Phonebook& book) const {
  if (!m_ids.empty()) return m_ids;
  std::vector<std::string> all;
  for (const cards::Card& card : book.list({host::Column::kId})) all.push_back(card.id);
  return all;
}

}  // namespace phonectl
