#include "tools/phonectl/CardImport.h"

#include <algorithm>
#include <iostream>
#include <stdexcept>

#include "cards/CardReading.h"
#include "cards/CardText.h"
#include "cards/InputFile.h"
#include "cards/PhoneBookMessage.h"

namespace phonectl {

namespace {

// As much as a whole phonebook holds.
constexpr std::size_t kMaxFile = std::size_t{256} << 20;

std::string count(std::size_t number, const char* what) {
  return std::to_string(number) + " " + what;
}

/// The card as the phone's reader needs it: that takes LF for the end of a line, and CR for
/// nothing.
std::string readable(std::string_view text) {
  std::string lines(text);
  if (text.find('\n') == std::string_view::npos)
    std::replace(lines.begin(), lines.end(), '\r', '\n');
  return lines;
}

}  // namespace

void CardImport::importFile(const std::string& file) {
  std::string text;
  try {
    text = contacts::readInput(file, kMaxFile);
  } catch (const contacts::InputError& error) {
    m_unusedFiles += 1;
    std::cerr << "phonectl: " << error.what() << std::endl;
    return;
  }
  importCards(contacts::shownInput(file), text);
}

void CardImport::importCards(const std::string& file, const std::string& text) {
  const std::vector<cards::CutCard> cards = cards::cutCards(text);
  if (cards.empty()) {
    m_unusedFiles += 1;
    std::cerr << "phonectl: " << file << ": there is no card in it" << std::endl;
  }
  ProgressBar bar(cards.size(), "cards");
  for (std::size_t i = 0; i < cards.size(); ++i) {
    const std::string place = "phonectl: " + file + ", line " + std::to_string(cards[i].line) +
                              ", card " + std::to_string(i + 1);
    importCard(cards[i], place, bar);
    bar.show(i + 1);
  }
}

void CardImport::importCard(const cards::CutCard& cut, const std::string& place, ProgressBar& bar) {
  if (cut.text.size() > contacts::kMaxInput) {
    return refuse(place, "it is larger than 4 MiB, which the phone doesn't take", bar);
  }
  if (cut.begins > 1) {
    return refuse(place,
                  "it begins " + std::to_string(cut.begins) +
                      " times before it ends; is an END:VCARD missing?",
                  bar);
  }
  const contacts::CardReading reading = contacts::readCard(readable(cut.text), m_images);
  if (!reading.message) return refuse(place, "it can't be read: " + reading.reason, bar);
  if (reading.cutTexts > 0) {
    bar.tell(place + ": " + count(static_cast<std::size_t>(reading.cutTexts), "text(s)") +
             " of it end at a character that the phone can't keep");
  }
  store(*reading.message, place, bar);
}

void CardImport::store(const std::string& message, const std::string& place, ProgressBar& bar) {
  try {
    const cards::Card card = cards::PhoneBookMessage::parse(message).card();
    if (!cards::holdsAnything(card)) return refuse(place, "it has no field of a card", bar);
    const std::vector<cards::Card> there = m_book.same(card);
    if (there.empty()) {
      m_book.write(message);
      m_stored += 1;
    } else {
      m_known += 1;
      bar.tell(place + ": in the phonebook already, as " + there.front().id + ": " +
               cards::displayName(card));
    }
  } catch (const Failure& failure) {
    if (failure.exitCode() != kFailed) throw;
    refuse(place, failure.what(), bar);
  } catch (const std::runtime_error& error) {
    refuse(place, error.what(), bar);
  }
}

void CardImport::refuse(const std::string& place, const std::string& why, ProgressBar& bar) {
  m_refused += 1;
  bar.tell(place + " was not stored: " + why);
}

std::string CardImport::summary() const {
  std::string text = count(m_stored, m_stored == 1 ? "card stored" : "cards stored");
  if (m_known > 0) text += ", " + count(m_known, "in the phonebook already");
  if (m_refused > 0) text += ", " + count(m_refused, "not stored");
  if (m_unusedFiles > 0) {
    text += ", " + count(m_unusedFiles, m_unusedFiles == 1 ? "file" : "files") + " without a card";
  }
  return text + ".";
}

}  // namespace phonectl
