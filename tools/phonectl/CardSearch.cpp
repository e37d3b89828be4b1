#include "tools/phonectl/CardSearch.h"

#include <glib.h>

#include <algorithm>
#include <iterator>
#include <memory>

namespace phonectl {

namespace {

using Text = std::unique_ptr<char, decltype(&g_free)>;

// Equal for texts that people take for the same: without case, and with accents composed.
std::string folded(const std::string& text) {
  const Text valid(g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())), g_free);
  const Text normal(g_utf8_normalize(valid.get(), -1, G_NORMALIZE_ALL_COMPOSE), g_free);
  const Text plain(g_utf8_casefold(normal.get(), -1), g_free);
  return plain.get();
}

std::string joined(std::string first, const char* between, const std::string& second) {
  return first.append(between).append(second);
}

// What a card may be called.
std::vector<std::string> namesOf(const cards::Card& card) {
  std::vector<std::string> names;
  for (const std::string& name :
       {card.surname, card.firstname, card.company, joined(card.firstname, " ", card.surname),
        joined(card.surname, " ", card.firstname), joined(card.surname, ", ", card.firstname)}) {
    names.push_back(folded(name));
  }
  return names;
}

template <typename Matches>
std::vector<cards::Card> cardsWhere(const std::vector<cards::Card>& cards, const Matches& matches) {
  std::vector<cards::Card> found;
  std::copy_if(cards.begin(), cards.end(), std::back_inserter(found), [&](const cards::Card& card) {
    const std::vector<std::string> names = namesOf(card);
    return std::any_of(names.begin(), names.end(), matches);
  });
  return found;
}

}  // namespace

std::vector<cards::Card> cardsNamed(const std::vector<cards::Card>& cards,
                                    const std::string& name) {
  const std::string wanted = folded(name);
  if (wanted.empty()) return {};
  std::vector<cards::Card> found =
      cardsWhere(cards, [&](const std::string& candidate) { return candidate == wanted; });
  if (!found.empty()) return found;
  return cardsWhere(cards, [&](const std::string& candidate) {
    return candidate.find(wanted) != std::string::npos;
  });
}

}  // namespace phonectl
