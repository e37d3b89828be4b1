#pragma once

#include <string>
#include <vector>

#include "cards/Card.h"

namespace phonectl {

/// Cards as a table for people: Id, name and numbers, the default number marked with a star. Every
/// line is safe to show; long values are cut. Stateless.
std::vector<std::string> cardTable(const std::vector<cards::Card>& cards);

}  // namespace phonectl
