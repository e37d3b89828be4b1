#include "tools/phonectl/BookShowCommand.h"

#include "cards/CardJson.h"
#include "cards/CardText.h"
#include "cards/ContactJson.h"
#include "cards/SafeText.h"
#include "tools/phonectl/Output.h"
#include "tools/phonectl/PhoneStatus.h"
#include "tools/phonectl/Phonebook.h"

namespace phonectl {

BookShowCommand::BookShowCommand(CLI::App& parent)
    : Command(
          parent, "show", "Show one entry of the phonebook with everything in it",
          "A number is taken for an Id first. A name is a surname, a first name, a company or a\n"
          "whole name in either order, or a part of one; when several entries have it, they\n"
          "are listed and the exit code is 1.\n"
          "--contact prints what the phone sends for the entry: `cardtool write -` makes the very\n"
          "same card of it, and `phonectl send --json -` and `phonectl book add --json -` take "
          "it.") {
  app().add_option("which", m_which, "The entry's Id or name")->required()->type_name("ID|NAME");
  auto* const json = app().add_flag("--json", m_json, "Every column, as one JSON object");
  app()
      .add_flag("--contact", m_contact, "The contact that it is sent as, as one JSON object")
      ->excludes(json);
}

int BookShowCommand::run(PhoneBus& bus) {
  const StopSignals signals;
  const cards::Card card = Phonebook(bus, signals).named(m_which);
  if (m_contact) {
    printContact(card);
  } else if (m_json) {
    printLine(cards::jsonLine(cards::cardJson(card)));
  } else {
    printText(bus, signals, card);
  }
  return kDone;
}

void BookShowCommand::printContact(const cards::Card& card) {
  try {
    printLine(contacts::contactJson(contacts::contactOf(card)));
  } catch (const std::runtime_error& error) {
    throw Failure(kFailed, error.what());
  }
}

void BookShowCommand::printText(PhoneBus& bus, const StopSignals& signals,
                                const cards::Card& card) const {
  const PhoneStatus status(BlockingCall(bus, signals).run(PhoneStatus::question()));
  std::string text;
  for (const std::string& line : cards::cardLines(card, status.imagesFolder())) text += line + "\n";
  printPrompt(text + "id         " + cards::safeText(card.id) + "\n");
}

}  // namespace phonectl
