#include "tools/phonectl/BookAddCommand.h"

#include <stdexcept>
#include <vector>

#include "cards/CardText.h"
#include "tools/phonectl/ContactFile.h"
#include "tools/phonectl/Output.h"
#include "tools/phonectl/Phonebook.h"

namespace phonectl {

namespace {

[[noreturn]] void refuseOther(const cards::Card& there) {
  throw Failure(kFailed,
                "nothing was added: an entry of the same names and numbers is in the "
                "phonebook already, with other details. See: phonectl book show " +
                    there.id);
}

/// Whether both say the same, whatever the phonebook has given to them.
bool equalIn(const cards::Card& card, cards::Card there) {
  there.id = card.id;
  there.group = card.group;
  return card == there;
}

// Which number is the default one says nothing by itself.
bool isEntry(cards::Card card) {
  card.defaultNumber.clear();
  return cards::holdsAnything(card);
}

}  // namespace

BookAddCommand::BookAddCommand(CLI::App& parent)
    : Command(parent, "add", "Add an entry to the phonebook",
              "The entry is given by options, or as JSON. What the phonebook has already, with the "
              "same\nnames and numbers, is not added again, as when a card comes in: that is told, "
              "and is an\nerror when the other details differ.") {
  CLI::Option* const file = addContactFile(app(), m_file);
  for (const contacts::ContactField& field : contacts::contactFields()) {
    app()
        .add_option(std::string("--") + field.key, m_contact.*field.value, field.description)
        ->type_name("TEXT")
        ->excludes(file);
  }
}

int BookAddCommand::run(PhoneBus& bus) {
  const cards::Card added = card();
  const StopSignals signals;
  Phonebook book(bus, signals);
  const std::vector<cards::Card> there = book.same(added);
  for (const cards::Card& entry : there) {
    if (!equalIn(added, entry)) continue;
    printLine("In the phonebook already, as " + entry.id + ": " + cards::displayName(added));
    return kDone;
  }
  if (!there.empty()) refuseOther(there.front());
  printLine("Added as " + book.add(added) + ": " + cards::displayName(added));
  return kDone;
}

cards::Card BookAddCommand::card() const {
  const contacts::Contact contact = m_file.empty() ? m_contact : readContactFile(m_file);
  cards::Card card;
  try {
    card = contacts::cardOf(contact);
  } catch (const std::runtime_error& error) {
    throw Failure(m_file.empty() ? kUsage : kFailed, error.what());
  }
  if (isEntry(card)) return card;
  throw Failure(m_file.empty() ? kUsage : kFailed,
                "there is nothing to add: give at least a name or a number");
}

}  // namespace phonectl
