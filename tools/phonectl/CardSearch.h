#pragma once

#include <string>
#include <vector>

#include "cards/Card.h"

namespace phonectl {

/// The cards that a user may mean by `name`: those of that surname, first name, company or whole
/// name in either order, whatever the case; where there are none, those whose name or company holds
/// the text. Stateless.
std::vector<cards::Card> cardsNamed(const std::vector<cards::Card>& cards, const std::string& name);

}  // namespace phonectl
