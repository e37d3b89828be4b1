#include "tools/cardtool/ReadCommand.h"

#include <unistd.h>

#include <iostream>
#include <optional>

#include "cards/CardReading.h"
#include "cards/DiscardedPictures.h"
#include "cards/InputFile.h"
#include "cards/PhoneBookMessage.h"
#include "cards/SafeText.h"
#include "tools/cardtool/Failure.h"
#include "tools/cardtool/PictureFolder.h"

namespace cardtool {

namespace {

// A terminal is not to obey what a stranger wrote; everything else gets the message as it is.
void printMessage(const std::string& message) {
  const bool terminal = ::isatty(STDOUT_FILENO) == 1;
  std::cout << (terminal ? cards::safeText(message) : message) << '\n' << std::flush;
  if (!std::cout.good()) throw Failure(kFailed, "can't write to standard output");
}

}  // namespace

ReadCommand::ReadCommand(CLI::App& parent)
    : Command(parent, "read", "Read a card as the phone would, and print what it would store",
              "Prints the phonebook write message, one line of XML in UTF-8. To a terminal, "
              "characters\n"
              "that could steer it are shown by their codes. Without --photos the card's pictures\n"
              "are left out. A card is at most 4 MiB large. Several cards in one file become one\n"
              "entry, as in the phone.") {
  app()
      .add_option("file", m_file, "The card, a .vcf file, or - for standard input")
      ->required()
      ->type_name("FILE|-");
  app()
      .add_option("--photos", m_photos,
                  "Put pictures into this folder, which must exist. A picture of the same name that"
                  " is there already is kept as NAME~")
      ->type_name("DIR");
}

int ReadCommand::run() {
  std::optional<PictureFolder> folder;
  if (!m_photos.empty()) folder.emplace(m_photos);
  contacts::DiscardedPictures discarded;
  OBEXStorage& pictures = folder ? static_cast<OBEXStorage&>(*folder) : discarded;
  printCard(contacts::readInput(m_file), pictures);
  if (!folder) return kDone;
  for (const std::string& path : folder->written()) {
    std::cerr << "cardtool: picture written to " << cards::safeText(path) << std::endl;
  }
  return kDone;
}

void ReadCommand::printCard(const std::string& text, OBEXStorage& pictures) {
  const contacts::CardReading reading = contacts::readCard(text, pictures);
  if (!reading.message) throw Failure(kFailed, "this card can't be read: " + reading.reason);
  printMessage(*reading.message);
  tellOddities(*reading.message, reading.cutTexts);
}

void ReadCommand::tellOddities(const std::string& message, int cutTexts) {
  if (cutTexts > 0) {
    std::cerr << "cardtool: " << cutTexts
              << " text(s) of the card end at a character that the phone can't keep" << std::endl;
  }
  if (!cards::holdsAnything(cards::PhoneBookMessage::parse(message).card())) {
    std::cerr << "cardtool: no field of a card was found" << std::endl;
  }
}

}  // namespace cardtool
