#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "tools/phonectl/Commands.h"
#include "tools/phonectl/Phonebook.h"

namespace phonectl {

namespace {

struct Options {
  std::vector<std::string> ids;
  bool yes = false;
};

struct Result {
  std::vector<std::string> deleted;
  std::vector<std::string> left;  ///< not found or not deleted
};

bool isYes(std::string answer) {
  answer.erase(std::remove_if(answer.begin(), answer.end(),
                              [](char c) { return c == ' ' || c == '\r' || c == '\n'; }),
               answer.end());
  return answer == "y" || answer == "Y" || answer == "yes" || answer == "Yes" || answer == "YES";
}

/// Drops leading zeros and duplicates: "7 007" names one entry.
std::vector<std::string> uniqueIds(const std::vector<std::string>& ids) {
  std::vector<std::string> unique;
  for (const std::string& id : ids) {
    const std::string plain = id.substr(std::min(id.find_first_not_of('0'), id.size() - 1));
    if (std::find(unique.begin(), unique.end(), plain) == unique.end()) unique.push_back(plain);
  }
  return unique;
}

std::vector<cards::Card> findEntries(PhoneBus& bus, const Options& options, Result& result) {
  const StopSignals signals;
  Phonebook book(bus, signals);
  std::vector<cards::Card> entries;
  for (const std::string& id : uniqueIds(options.ids)) {
    const std::vector<cards::Card> found = book.withId(id);
    if (!found.empty()) {
      entries.push_back(found.front());
      continue;
    }
    result.left.push_back(id);
    std::cerr << "phonectl: the phonebook has no entry " << id << std::endl;
  }
  return entries;
}

// Without StopSignals: Ctrl-C ends the program and nothing is deleted.
bool confirm(const std::vector<cards::Card>& entries) {
  for (const std::string& line : cardTable(entries)) std::cerr << line << '\n';
  std::cerr << (entries.size() == 1
                    ? "Delete this entry?"
                    : "Delete these " + std::to_string(entries.size()) + " entries?")
            << " [y]es/[n]o " << std::flush;
  // Drops what was typed before the prompt appeared.
  ::tcflush(STDIN_FILENO, TCIFLUSH);
  std::string answer;
  if (!std::getline(std::cin, answer)) std::cerr << std::endl;
  return isYes(answer);
}

void removeEntry(Phonebook& book, const cards::Card& entry, bool json, Result& result) {
  try {
    book.remove(entry.id);
  } catch (const Failure& failure) {
    if (failure.exitCode() != kFailed) {
      std::cerr << "phonectl: deleted " << result.deleted.size() << " before this error"
                << std::endl;
      throw;
    }
    result.left.push_back(entry.id);
    std::cerr << "phonectl: entry " << entry.id << " was not deleted: " << failure.what()
              << std::endl;
    return;
  }
  result.deleted.push_back(entry.id);
  if (!json) printLine("Deleted " + entry.id + ": " + cards::displayName(entry));
}

int deleteEntries(const Context& context, const Options& options) {
  if (!options.yes && ::isatty(STDIN_FILENO) != 1) {
    throw Failure(kUsage, "standard input is not a terminal",
                  "pass --yes to delete without confirmation");
  }
  PhoneBus bus(context.place());
  Result result;
  const std::vector<cards::Card> entries = findEntries(bus, options, result);
  if (!entries.empty() && !options.yes && !confirm(entries)) {
    std::cerr << "phonectl: nothing was deleted" << std::endl;
    for (const cards::Card& entry : entries) result.left.push_back(entry.id);
  } else {
    const StopSignals signals;
    Phonebook book(bus, signals);
    for (const cards::Card& entry : entries) removeEntry(book, entry, context.json, result);
  }
  if (context.json)
    printLine(cards::jsonLine({{"deleted", result.deleted}, {"left", result.left}}));
  return result.left.empty() ? kDone : kFailed;
}

}  // namespace

void addBookDelete(CLI::App& parent, Context& context) {
  CLI::App& command = addCommand(
      parent, "delete", "Delete entries",
      "In a terminal, shows the entries and asks for confirmation; elsewhere --yes is required.\n"
      "Unknown ids are reported and the other entries are deleted all the same. The exit code is "
      "1\n"
      "then, and if the answer is no. Pictures stay in /data/images. Ids are never reused.\n"
      "--json prints {\"deleted\":[\"1\",...],\"left\":[\"7\",...]}.");
  const auto options = std::make_shared<Options>();
  command.add_option("ids", options->ids, "Ids of the entries")
      ->required()
      ->type_name("ID")
      ->check(entryId());
  command.add_flag("--yes,-y", options->yes, "Delete without confirmation");
  command.add_flag("--json", context.json, "Result as a JSON object");
  command.callback([&context, options] { context.exitCode = deleteEntries(context, *options); });
}

}  // namespace phonectl
