#include <memory>
#include <stdexcept>

#include "tools/phonectl/Commands.h"
#include "tools/phonectl/Phonebook.h"

namespace phonectl {

namespace {

struct Options {
  std::string file;
  cards::Contact contact;
};

/// Compares everything but what the phonebook assigns.
bool sameFields(const cards::Card& card, cards::Card there) {
  there.id = card.id;
  there.group = card.group;
  return card == there;
}

cards::Card cardFrom(const Options& options) {
  const bool fromFile = !options.file.empty();
  const cards::Contact contact = fromFile ? readContactFile(options.file) : options.contact;
  const int exitCode = fromFile ? kFailed : kUsage;
  cards::Card card;
  try {
    card = cards::cardOf(contact);
  } catch (const std::runtime_error& error) {
    throw Failure(exitCode, error.what());
  }
  cards::Card fields = card;
  // Meaningless without any numbers.
  fields.defaultNumber.clear();
  if (cards::holdsAnything(fields)) return card;
  throw Failure(exitCode, "the entry is empty", "give at least a name or a number");
}

void add(const Context& context, const Options& options) {
  const cards::Card card = cardFrom(options);
  PhoneBus bus(context.place());
  const StopSignals signals;
  Phonebook book(bus, signals);
  const std::vector<cards::Card> existing = book.same(card);
  for (const cards::Card& entry : existing) {
    if (!sameFields(card, entry)) continue;
    printLine("Entry exists already as " + entry.id + ": " + cards::displayName(card));
    return;
  }
  if (!existing.empty()) {
    const std::string& id = existing.front().id;
    throw Failure(
        kFailed,
        "entry " + id +
            " exists already with the same names and numbers but other details; nothing "
            "was added",
        "compare with phonectl book show " + id + ", or change it with phonectl book edit " + id);
  }
  printLine("Added as " + book.add(card) + ": " + cards::displayName(card));
}

}  // namespace

void addBookAdd(CLI::App& parent, Context& context) {
  CLI::App& command = addCommand(
      parent, "add", "Add an entry, given by options or as JSON",
      "An entry with the same names and numbers that exists already is not added again. This is\n"
      "reported, and is an error if other details differ.");
  const auto options = std::make_shared<Options>();
  CLI::Option& file = addContactFile(command, options->file);
  addContactOptions(command, options->contact);
  for (CLI::Option* const option : command.get_options()) {
    if (option != &file && option != command.get_help_ptr()) option->excludes(&file);
  }
  command.callback([&context, options] { add(context, *options); });
}

}  // namespace phonectl
