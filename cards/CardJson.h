#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "cards/Card.h"

namespace cards {

// How a card is given to programs. Stateless: any thread.

/// Every column under its name in the phonebook, empty ones included. `Id` only where there is one.
nlohmann::ordered_json cardJson(const Card& card);

/// One line of JSON without its line end. Bytes that aren't UTF-8 become the replacement character,
/// and what could steer a terminal is escaped.
std::string jsonLine(const nlohmann::ordered_json& json);

}  // namespace cards
