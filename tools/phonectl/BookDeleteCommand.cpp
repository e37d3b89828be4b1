#include "tools/phonectl/BookDeleteCommand.h"

#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>

#include "cards/CardJson.h"
#include "cards/CardText.h"
#include "tools/phonectl/CardTable.h"
#include "tools/phonectl/EntryId.h"
#include "tools/phonectl/Output.h"

namespace phonectl {

namespace {

bool isYes(std::string answer) {
  answer.erase(std::remove_if(answer.begin(), answer.end(),
                              [](char c) { return c == ' ' || c == '\r' || c == '\n'; }),
               answer.end());
  return answer == "y" || answer == "Y" || answer == "yes" || answer == "Yes" || answer == "YES";
}

// Each Id once, however it is written: two deletions of one entry would look like a mistake.
std::vector<std::string> eachOnce(const std::vector<std::string>& ids) {
  std::vector<std::string> once;
  for (const std::string& id : ids) {
    const std::size_t digits = std::min(id.find_first_not_of('0'), id.size() - 1);
    const std::string plain = id.substr(digits);
    if (std::find(once.begin(), once.end(), plain) == once.end()) once.push_back(plain);
  }
  return once;
}

}  // namespace

BookDeleteCommand::BookDeleteCommand(CLI::App& parent)
    : Command(parent, "delete", "Delete entries of the phonebook",
              "In a terminal the entries are shown first, and only a yes deletes them; elsewhere\n"
              "--yes has to be said. What isn't there is told, and the others are deleted all the\n"
              "same; the exit code is 1 then, and when the answer is no. Pictures stay in\n"
              "/data/images. An Id is never given again.\n"
              "--json prints {\"deleted\":[\"1\",...],\"left\":[\"7\",...]}: the Ids of what was "
              "deleted,\nand of what was not.") {
  app()
      .add_option("ids", m_ids, "The Ids, as `phonectl book list` shows them")
      ->required()
      ->type_name("ID")
      ->check(checkId);
  app().add_flag("--yes,-y", m_yes, "Don't ask");
  app().add_flag("--json", m_json, "The outcome as one JSON object");
}

int BookDeleteCommand::run(PhoneBus& bus) {
  if (!m_yes && ::isatty(STDIN_FILENO) != 1) {
    throw Failure(kUsage, "nobody can be asked here: say --yes to delete without a question");
  }
  const std::vector<cards::Card> entries = find(bus);
  if (!entries.empty() && !confirmed(entries)) {
    std::cerr << "phonectl: nothing was deleted" << std::endl;
    for (const cards::Card& entry : entries) m_left.push_back(entry.id);
  } else {
    const StopSignals signals;
    Phonebook book(bus, signals);
    for (const cards::Card& entry : entries) remove(book, entry);
  }
  if (m_json) printLine(cards::jsonLine({{"deleted", m_deleted}, {"left", m_left}}));
  return m_left.empty() ? kDone : kFailed;
}

std::vector<cards::Card> BookDeleteCommand::find(PhoneBus& bus) {
  const StopSignals signals;
  Phonebook book(bus, signals);
  std::vector<cards::Card> entries;
  for (const std::string& id : eachOnce(m_ids)) {
    const std::vector<cards::Card> found = book.withId(id);
    if (!found.empty()) {
      entries.push_back(found.front());
      continue;
    }
    m_left.push_back(id);
    std::cerr << "phonectl: there is no entry " << id << " in the phonebook" << std::endl;
  }
  return entries;
}

// Ctrl-C at the question is the system's: it ends the program, and nothing is deleted.
bool BookDeleteCommand::confirmed(const std::vector<cards::Card>& entries) const {
  if (m_yes) return true;
  for (const std::string& line : cardTable(entries)) std::cerr << line << '\n';
  std::cerr << (entries.size() == 1
                    ? "Delete this entry?"
                    : "Delete these " + std::to_string(entries.size()) + " entries?")
            << " [y]es/[n]o " << std::flush;
  // What was typed before the question stood there was meant for something else.
  ::tcflush(STDIN_FILENO, TCIFLUSH);
  std::string answer;
  if (!std::getline(std::cin, answer)) std::cerr << std::endl;
  return isYes(answer);
}

void BookDeleteCommand::remove(Phonebook& book, const cards::Card& entry) {
  try {
    book.remove(entry.id);
  } catch (const Failure& failure) {
    if (failure.exitCode() != kFailed) {
      std::cerr << "phonectl: " << m_deleted.size() << " deleted before that" << std::endl;
      throw;
    }
    m_left.push_back(entry.id);
    std::cerr << "phonectl: entry " << entry.id << " was not deleted: " << failure.what()
              << std::endl;
    return;
  }
  m_deleted.push_back(entry.id);
  if (!m_json) printLine("Deleted " + entry.id + ": " + cards::displayName(entry));
}

}  // namespace phonectl
