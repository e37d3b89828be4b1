#include "tools/phonectl/WatchText.h"

#include "cards/CardText.h"
#include "cards/SafeText.h"
#include "tools/phonectl/Output.h"

namespace phonectl {

namespace {

std::string shown(const std::string& text) {
  return text.empty() ? "(no name)" : cards::safeText(text, cards::kMaxShown);
}

std::string cardsOf(long long count) {
  return count == 1 ? "1 card" : std::to_string(count) + " cards";
}

}  // namespace

void WatchText::watching(const std::string& imagesFolder) {
  m_imagesFolder = imagesFolder;
  printLine(m_restarted ? "The phone is back. Waiting for cards."
                        : "Waiting for cards. Ctrl-C ends it.");
}

void WatchText::phoneGone(long long waiting) {
  m_restarted = true;
  printLine("The phone has stopped; waiting for it to come back.");
  if (waiting > 0) {
    printLine(cardsOf(waiting) + " that waited for an answer " + (waiting == 1 ? "is" : "are") +
              " lost and must be sent again.");
  }
}

void WatchText::cardOffered(const std::string& message, long long waiting) {
  printLine("");
  printLine("A card has come in" +
            (waiting > 1 ? " (" + std::to_string(waiting) + " wait now):" : std::string(":")));
  const auto card = cardIn(message);
  if (!card) {
    printLine("  It can't be shown: " + cards::safeText(message, cards::kMaxShown));
    return;
  }
  for (const std::string& line : cards::cardLines(*card, m_imagesFolder)) printLine("  " + line);
}

void WatchText::outcome(const Outcome& outcome) { printLine(outcome.sentence()); }

void WatchText::rejected(long long count) { printLine(cardsOf(count) + " thrown away."); }

void WatchText::cardUnreadable() {
  printLine("Something was pushed that can't be read as a card; nothing waits because of it.");
}

void WatchText::destinationWanted(const std::string& contact) {
  printLine("A contact is to be sent and waits for a destination: " + shown(contact));
}

void WatchText::contactSent(const std::string& contact) { printLine("Sent: " + shown(contact)); }

void WatchText::contactNotSent(const std::string& contact, const std::string& address) {
  printLine("Not sent to " + shown(address) + ": " + shown(contact) +
            ". It still waits for a destination.");
}

}  // namespace phonectl
