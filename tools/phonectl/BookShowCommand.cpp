#include <memory>
#include <stdexcept>

#include "cards/SafeText.h"
#include "tools/phonectl/Commands.h"
#include "tools/phonectl/PhoneStatus.h"
#include "tools/phonectl/Phonebook.h"

namespace phonectl {

namespace {

struct Options {
  std::string which;
  bool contact = false;
};

void printContact(const cards::Card& card) {
  try {
    printLine(cards::contactJson(cards::contactOf(card)));
  } catch (const std::runtime_error& error) {
    throw Failure(kFailed, error.what());
  }
}

void printText(const cards::Card& card, const std::string& imagesFolder) {
  std::string text;
  for (const std::string& line : cards::cardLines(card, imagesFolder)) text += line + "\n";
  print(text + "id         " + cards::safeText(card.id) + "\n");
}

void show(const Context& context, const Options& options) {
  PhoneBus bus(context.place());
  const StopSignals signals;
  const cards::Card card = Phonebook(bus, signals).named(options.which);
  if (options.contact) {
    printContact(card);
  } else if (context.json) {
    printLine(cards::jsonLine(cards::cardJson(card)));
  } else {
    const PhoneStatus status(BlockingCall(bus, signals).run(PhoneStatus::question()));
    printText(card, status.imagesFolder());
  }
}

}  // namespace

void addBookShow(CLI::App& parent, Context& context) {
  CLI::App& command = addCommand(
      parent, "show", "Show all fields of one entry",
      "A number is looked up as an id first. A name is a surname, first name, company or full "
      "name\n"
      "in either order, or a part of one. If it matches several entries, they are listed and the\n"
      "exit code is 1.\n"
      "--contact prints the contact that the phone sends for the entry, the input of\n"
      "`cardtool write -`, `phonectl send --json -` and `phonectl book add --json -`.");
  const auto options = std::make_shared<Options>();
  command.add_option("which", options->which, "Id or name of the entry")
      ->required()
      ->type_name("ID|NAME");
  CLI::Option* const json =
      command.add_flag("--json", context.json, "All columns, as a JSON object");
  command.add_flag("--contact", options->contact, "The contact to send, as a JSON object")
      ->excludes(json);
  command.callback([&context, options] { show(context, *options); });
}

}  // namespace phonectl
