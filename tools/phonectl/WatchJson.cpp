#include "tools/phonectl/WatchJson.h"

#include "cards/CardJson.h"
#include "tools/phonectl/Output.h"

namespace phonectl {

namespace {

using Json = nlohmann::ordered_json;

void print(const Json& json) { printLine(cards::jsonLine(json)); }

}  // namespace

const char* WatchJson::vocabulary() {
  return R"(With --json each event is one object a line, told apart by "event":
  watching     subscribed, also after the phone was restarted; "images": where photos are
  accept       a card has come in and waits for an answer; "waiting": how many do now, as
               far as this watch knows; "card": its columns, as in `book list --json`
               (missing when the phone's text is no card)
  received     all waiting cards are stored; "count": how many; "first": the first card
  error        "reason" "not stored": not all of the "count" waiting cards could be stored,
               none waits any more, "first" is the first; "reason" "unreadable": something
               was pushed that is no card, "count" 1
  rejected     this watch has had the waiting cards thrown away; "count": how many it knew of
  destination  a contact is to be sent and the phone asks where to; "contact": its name
  sent         the contact was sent; "contact"
  send-error   it could not be sent and still waits for a destination; "contact", "address"
  gone         the phone has left the bus; "waiting": how many cards were lost with it
More events and members may be added; texts that aren't UTF-8 are mended.)";
}

void WatchJson::watching(const std::string& imagesFolder) {
  print({{"event", "watching"}, {"images", imagesFolder}});
}

void WatchJson::phoneGone(long long waiting) { print({{"event", "gone"}, {"waiting", waiting}}); }

void WatchJson::cardOffered(const std::string& message, long long waiting) {
  Json json{{"event", "accept"}, {"waiting", waiting}};
  const auto card = cardIn(message);
  if (card) json["card"] = cards::cardJson(*card);
  print(json);
}

void WatchJson::outcome(const Outcome& outcome) { print(outcome.json()); }

void WatchJson::rejected(long long count) { print({{"event", "rejected"}, {"count", count}}); }

void WatchJson::cardUnreadable() {
  print({{"event", "error"}, {"reason", "unreadable"}, {"count", 1}});
}

void WatchJson::destinationWanted(const std::string& contact) {
  print({{"event", "destination"}, {"contact", contact}});
}

void WatchJson::contactSent(const std::string& contact) {
  print({{"event", "sent"}, {"contact", contact}});
}

void WatchJson::contactNotSent(const std::string& contact, const std::string& address) {
  print({{"event", "send-error"}, {"contact", contact}, {"address", address}});
}

}  // namespace phonectl
