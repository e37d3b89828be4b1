#include "tools/phonectl/Outcome.h"

#include <stdexcept>

#include "cards/CardJson.h"
#include "cards/CardText.h"
#include "cards/PhoneBookMessage.h"

namespace phonectl {

std::optional<cards::Card> cardIn(const std::string& message) {
  try {
    return cards::PhoneBookMessage::parse(message).card();
  } catch (const std::runtime_error&) {
    return std::nullopt;
  }
}

Outcome::Outcome(bool allStored, long long cardCount, const std::string& message)
    : stored(allStored), count(cardCount), first(cardIn(message)) {}

std::string Outcome::sentence() const {
  if (stored && count == 0) return "No card was waiting: nothing was stored.";
  const std::string name = first ? cards::displayName(*first) : "(a card that can't be shown)";
  const bool one = count == 1;
  const std::string what = one ? "1 card" : std::to_string(count) + " cards";
  const std::string which = one ? ": " + name : ", the first is " + name;
  if (stored) return what + " stored" + which + ".";
  return (one ? "1 card could not be stored" : "Not all of " + what + " could be stored") + which +
         ". None waits any more: have them sent again once the phone's log shows the reason.";
}

nlohmann::ordered_json Outcome::json() const {
  nlohmann::ordered_json json{{"event", stored ? "received" : "error"}};
  if (!stored) json["reason"] = "not stored";
  json["count"] = count;
  if (first) json["first"] = cards::cardJson(*first);
  return json;
}

}  // namespace phonectl
