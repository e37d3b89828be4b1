#include "tools/phonectl/BookShowCommand.h"

#include "tools/cards/CardJson.h"
#include "tools/cards/CardText.h"
#include "tools/cards/SafeText.h"
#include "tools/phonectl/CardSearch.h"
#include "tools/phonectl/CardTable.h"
#include "tools/phonectl/Output.h"
#include "tools/phonectl/PhoneStatus.h"

namespace phonectl {

namespace {

const std::vector<host::Column> kNameColumns = {host::Column::Id, host::Column::Surname,
                                                host::Column::Firstname, host::Column::Company};

// Longer numbers are no Ids of any phonebook.
constexpr std::size_t kMaxIdDigits = 18;
constexpr std::size_t kMaxListed = 20;

}  // namespace

BookShowCommand::BookShowCommand(CLI::App& parent)
    : Command(
          parent, "show", "Show one entry of the phonebook with everything in it",
          "A number is taken for an Id first. A name is a surname, a first name, a company or a\n"
          "whole name in either order, or a part of one; when several entries have it, they\n"
          "are listed and the exit code is 1.") {
  app().add_option("which", m_which, "The entry's Id or name")->required()->type_name("ID|NAME");
  app().add_flag("--json", m_json, "Every column, as one JSON object");
}

int BookShowCommand::run(PhoneBus& bus) {
  const StopSignals signals;
  Phonebook book(bus, signals);
  const cards::Card card = find(book);
  if (m_json) {
    printLine(cards::jsonLine(cards::cardJson(card)));
  } else {
    printText(bus, signals, card);
  }
  return kDone;
}

cards::Card BookShowCommand::find(Phonebook& book) const {
  if (mayBeId()) {
    const std::vector<cards::Card> found = book.withId(m_which);
    if (!found.empty()) return found.front();
  }
  const std::vector<cards::Card> named = cardsNamed(book.list(kNameColumns), m_which);
  if (named.size() > 1) refuseAmbiguous(named);
  const std::vector<cards::Card> found = named.empty() ? named : book.withId(named.front().id);
  if (!found.empty()) return found.front();
  throw Failure(kFailed, "there is no \"" + cards::safeText(m_which, cards::kMaxShown) +
                             "\" in the phonebook. See: phonectl book list");
}

bool BookShowCommand::mayBeId() const {
  return !m_which.empty() && m_which.size() <= kMaxIdDigits &&
         m_which.find_first_not_of("0123456789") == std::string::npos;
}

void BookShowCommand::refuseAmbiguous(const std::vector<cards::Card>& found) const {
  const std::vector<cards::Card> listed(
      found.begin(),
      found.begin() + static_cast<std::ptrdiff_t>(std::min(found.size(), kMaxListed)));
  std::string sentence =
      std::to_string(found.size()) + " entries have that name. Name one by its Id:";
  for (const std::string& line : cardTable(listed)) sentence += "\n  " + line;
  if (listed.size() < found.size()) sentence += "\n  ...";
  throw Failure(kFailed, sentence);
}

void BookShowCommand::printText(PhoneBus& bus, const StopSignals& signals,
                                const cards::Card& card) const {
  const PhoneStatus status(PatientCall(bus, signals).run(PhoneStatus::question()));
  std::string text;
  for (const std::string& line : cards::cardLines(card, status.imagesFolder())) text += line + "\n";
  printPrompt(text + "id         " + cards::safeText(card.id) + "\n");
}

}  // namespace phonectl
