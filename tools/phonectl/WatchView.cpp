#include "tools/phonectl/WatchView.h"

#include <nlohmann/json.hpp>

#include "cards/SafeText.h"
#include "tools/phonectl/Output.h"

namespace phonectl {

namespace {

using Json = nlohmann::ordered_json;

std::string shown(const std::string& text) {
  return text.empty() ? "(no name)" : cards::safeText(text, cards::kMaxShown);
}

std::string cardsOf(long long count) {
  return count == 1 ? "1 card" : std::to_string(count) + " cards";
}

void printJson(const Json& json) { printLine(cards::jsonLine(json)); }

class TextView : public WatchView {
 public:
  void watching(const std::string& imagesFolder) override {
    m_imagesFolder = imagesFolder;
    printLine(m_restarted ? "The phone is back. Waiting for cards."
                          : "Waiting for cards. Press Ctrl-C to end.");
  }

  void phoneGone(long long waiting) override {
    m_restarted = true;
    printLine("The phone has stopped; waiting for it to come back.");
    if (waiting > 0) {
      printLine(cardsOf(waiting) + " waiting for an answer " + (waiting == 1 ? "is" : "are") +
                " lost and must be sent again.");
    }
  }

  void cardOffered(const std::string& message, long long waiting) override {
    printLine("");
    printLine("A card has come in" +
              (waiting > 1 ? " (" + std::to_string(waiting) + " are waiting):" : std::string(":")));
    const auto card = cardIn(message);
    if (!card) {
      printLine("  Unreadable card: " + cards::safeText(message, cards::kMaxShown));
      return;
    }
    for (const std::string& line : cards::cardLines(*card, m_imagesFolder)) printLine("  " + line);
  }

  void outcome(const Outcome& outcome) override { printLine(outcome.sentence()); }

  void rejected(long long count) override { printLine(cardsOf(count) + " rejected."); }

  void cardUnreadable() override {
    printLine("A pushed object was no readable card; it was dropped.");
  }

  void destinationWanted(const std::string& contact) override {
    printLine("A contact is to be sent and needs a destination: " + shown(contact));
  }

  void contactSent(const std::string& contact) override { printLine("Sent: " + shown(contact)); }

  void contactNotSent(const std::string& contact, const std::string& address) override {
    printLine("Not sent to " + shown(address) + ": " + shown(contact) + ". It is still pending.");
  }

 private:
  std::string m_imagesFolder;
  bool m_restarted = false;
};

class JsonView : public WatchView {
 public:
  void watching(const std::string& imagesFolder) override {
    printJson({{"event", "watching"}, {"images", imagesFolder}});
  }

  void phoneGone(long long waiting) override {
    printJson({{"event", "gone"}, {"waiting", waiting}});
  }

  void cardOffered(const std::string& message, long long waiting) override {
    Json json{{"event", "accept"}, {"waiting", waiting}};
    const auto card = cardIn(message);
    if (card) json["card"] = cards::cardJson(*card);
    printJson(json);
  }

  void outcome(const Outcome& outcome) override { printJson(outcome.json()); }

  void rejected(long long count) override { printJson({{"event", "rejected"}, {"count", count}}); }

  void cardUnreadable() override {
    printJson({{"event", "error"}, {"reason", "unreadable"}, {"count", 1}});
  }

  void destinationWanted(const std::string& contact) override {
    printJson({{"event", "destination"}, {"contact", contact}});
  }

  void contactSent(const std::string& contact) override {
    printJson({{"event", "sent"}, {"contact", contact}});
  }

  void contactNotSent(const std::string& contact, const std::string& address) override {
    printJson({{"event", "send-error"}, {"contact", contact}, {"address", address}});
  }
};

}  // namespace

std::unique_ptr<WatchView> makeTextView() { return std::make_unique<TextView>(); }

std::unique_ptr<WatchView> makeJsonView() { return std::make_unique<JsonView>(); }

const char* jsonViewHelp() {
  return R"(With --json each event is one object per line:
  watching     subscribed, again after the phone restarts; "images": folder of the photos
  accept       a card came in and waits for an answer; "waiting": number of waiting cards, as
               far as this command knows; "card": its columns, as in `book list --json`
               (missing if the card is unreadable)
  received     all waiting cards were stored; "count": how many; "first": the first card
  error        "reason" "not stored": not all of the "count" waiting cards could be stored;
               none is waiting any more, "first" is the first; "reason" "unreadable": a pushed
               object was no readable card, "count" 1
  rejected     this command rejected the waiting cards; "count": how many it knew of
  destination  a contact is to be sent and needs a destination; "contact": its name
  sent         the contact was sent; "contact"
  send-error   the contact was not sent and is still pending; "contact", "address"
  gone         the phone left the bus; "waiting": number of cards lost with it
More events and members may be added. Invalid UTF-8 becomes U+FFFD.)";
}

}  // namespace phonectl
