#include "tools/cardtool/WriteCommand.h"

#include <unistd.h>

#include <iostream>
#include <stdexcept>

#include "cards/ContactJson.h"
#include "cards/InputFile.h"
#include "cards/SafeText.h"
#include "cards/SentCard.h"
#include "tools/cardtool/Failure.h"

namespace cardtool {

namespace {

contacts::Contact readContact(const std::string& file) {
  const std::string json = contacts::readInput(file);
  try {
    return contacts::contactFromJson(json);
  } catch (const std::runtime_error& error) {
    throw Failure(kFailed, contacts::shownInput(file) + ": " + error.what());
  }
}

// A terminal is not to obey what a stranger wrote; everything else gets the card as it is.
void printCard(const std::string& card) {
  std::cout << (::isatty(STDOUT_FILENO) == 1 ? contacts::safeCardLines(card) : card) << std::flush;
  if (!std::cout.good()) throw Failure(kFailed, "can't write to standard output");
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
  const contacts::SentCard card = contacts::sentCard(contact);
  printCard(card.text);
  if (card.pictureMissing) {
    std::cerr << "cardtool: the picture " << cards::safeText(contact.picture)
              << " can't be read or is empty: the card is without it" << std::endl;
  }
  return kDone;
}

}  // namespace cardtool
