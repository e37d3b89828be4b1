#include "tools/phonectl/CardExport.h"

#include <optional>
#include <stdexcept>

#include "cards/CardReading.h"
#include "cards/CardText.h"
#include "cards/Contact.h"
#include "cards/DiscardedPictures.h"
#include "cards/PhoneBookMessage.h"
#include "cards/SafeText.h"
#include "cards/SentCard.h"
#include "cards/VCardSplitter.h"

namespace phonectl {

namespace {

using cards::Card;

// The phone's reader makes a number the default one where none is.
bool mayDiffer(const Card& entry, std::string Card::*value) {
  if (value == &Card::id || value == &Card::group || value == &Card::picture) return true;
  return value == &Card::defaultNumber && entry.defaultNumber.empty();
}

/// The names of the columns that an import of the card would fill differently; none when the card
/// can't be read at all, or is no single one.
std::optional<std::string> differences(const Card& entry, const std::string& text) {
  const std::vector<cards::CutCard> cut = cards::cutCards(text);
  if (cut.size() != 1 || cut.front().begins != 1) return std::nullopt;
  contacts::DiscardedPictures pictures;
  const contacts::CardReading reading = contacts::readCard(text, pictures);
  if (!reading.message) return std::nullopt;
  const Card read = cards::PhoneBookMessage::parse(*reading.message).card();
  std::string names;
  for (const cards::CardColumn& column : cards::kCardColumns) {
    if (mayDiffer(entry, column.value) || read.*column.value == entry.*column.value) continue;
    names += (names.empty() ? "" : ", ") + std::string(column.name);
  }
  return names;
}

}  // namespace

void CardExport::write(const std::vector<std::string>& ids) {
  ProgressBar bar(ids.size(), "cards");
  for (std::size_t i = 0; i < ids.size(); ++i) {
    // One by one: all entries together may be larger than an answer can be.
    const std::vector<Card> found = m_book.withId(ids[i]);
    if (found.empty()) {
      tell(ids[i], "is not in the phonebook", bar);
    } else {
      writeEntry(found.front(), bar);
    }
    bar.show(i + 1);
  }
}

void CardExport::writeEntry(const Card& entry, ProgressBar& bar) {
  const contacts::SentCard card = contacts::sentCard(contacts::contactOf(entry));
  m_onCard(card.text);
  m_written += 1;
  const std::string picture = "its picture " + cards::safeText(entry.picture, cards::kMaxShown);
  if (card.pictureMissing)
    tell(entry.id, picture + " can't be read or is empty: the card is without it", bar);
  if (card.pictureCut)
    tell(entry.id, picture + " is large: the card has the first 102400 bytes of it", bar);
  std::optional<std::string> differing;
  try {
    differing = differences(entry, card.text);
  } catch (const std::runtime_error&) {
    // What the reader made of it is no message.
  }
  if (!differing) {
    tell(entry.id, "its card can't be read again: a text of it breaks the card", bar);
  } else if (!differing->empty()) {
    tell(entry.id, "read again, its card will differ in " + *differing, bar);
  }
}

void CardExport::tell(const std::string& id, const std::string& what, ProgressBar& bar) {
  m_lacking += 1;
  bar.tell("phonectl: entry " + id + (what.starts_with("is ") ? " " : ": ") + what);
}

std::string CardExport::summary() const {
  return std::to_string(m_written) + (m_written == 1 ? " card" : " cards") + " written";
}

}  // namespace phonectl
