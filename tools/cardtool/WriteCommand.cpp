#include "tools/cardtool/WriteCommand.h"

#include <unistd.h>

#include <iostream>
#include <stdexcept>

#include "src/CARD_Creator.h"
#include "tools/cards/SafeText.h"
#include "tools/cardtool/Failure.h"
#include "tools/contacts/ContactJson.h"
#include "tools/contacts/InputFile.h"

namespace cardtool {

namespace {

constexpr const char* kLineEnd = "\r\n";

contacts::Contact readContact(const std::string& file) {
  const std::string json = contacts::readInput(file);
  try {
    return contacts::contactFromJson(json);
  } catch (const std::runtime_error& error) {
    throw Failure(kFailed, contacts::shownInput(file) + ": " + error.what());
  }
}

/// The card's lines as a terminal may show them.
std::string safeLines(const std::string& card) {
  std::string safe;
  for (std::size_t at = 0; at < card.size();) {
    const std::size_t end = std::min(card.find(kLineEnd, at), card.size());
    safe += cards::safeText(std::string_view(card).substr(at, end - at)) + kLineEnd;
    at = end + 2;
  }
  return safe;
}

// A terminal is not to obey what a stranger wrote; everything else gets the card as it is.
void printCard(const std::string& card) {
  std::cout << (::isatty(STDOUT_FILENO) == 1 ? safeLines(card) : card) << std::flush;
  if (!std::cout.good()) throw Failure(kFailed, "can't write to standard output");
}

bool pictureIsLeftOut(const contacts::Contact& contact, const std::string& card) {
  contacts::Contact plain = contact;
  plain.picture.clear();
  return !contact.picture.empty() && CARD_Creator().createVCard(plain) == card;
}

}  // namespace

WriteCommand::WriteCommand(CLI::App& parent)
    : Command(parent, "write", "Print the card that the phone sends for a contact",
              "The contact is one JSON object of texts, as `phonectl book show --contact` prints\n"
              "it. Its fields, none of which is required:\n" +
                  contacts::contactKeys() +
                  "\n"
                  "The default number is Office, Office2, Mobile or Private. The picture is the "
                  "name of\n"
                  "a JPEG file in /data/images; of a large one the card gets the first 102400 "
                  "bytes, and\n"
                  "one that can't be read is left out, which is told. The card is printed byte for "
                  "byte;\n"
                  "to a terminal, characters that could steer it are shown by their codes.") {
  app()
      .add_option("contact", m_file, "The contact, a .json file, or - for standard input")
      ->required()
      ->type_name("CONTACT.json|-");
}

int WriteCommand::run() {
  const contacts::Contact contact = readContact(m_file);
  const std::string card = CARD_Creator().createVCard(contact);
  printCard(card);
  if (pictureIsLeftOut(contact, card)) {
    std::cerr << "cardtool: the picture " << cards::safeText(contact.picture)
              << " can't be read or is empty: the card is without it" << std::endl;
  }
  return kDone;
}

}  // namespace cardtool
