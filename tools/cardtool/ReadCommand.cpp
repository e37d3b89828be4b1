#include "tools/cardtool/ReadCommand.h"

#include <unistd.h>

#include <iostream>
#include <optional>

#include "src/CARD_Parser.h"
#include "tools/cards/PhoneBookMessage.h"
#include "tools/cards/SafeText.h"
#include "tools/cardtool/DiscardedPictures.h"
#include "tools/cardtool/Failure.h"
#include "tools/cardtool/InputFile.h"
#include "tools/cardtool/PictureFolder.h"

namespace cardtool {

namespace {

/// The message of a card, none when it can't be read.
std::optional<std::string> messageOf(const std::string& text, OBEXStorage& pictures) {
  CARD_Parser parser(&pictures);
  const auto* const bytes = reinterpret_cast<const unsigned char*>(text.data());
  if (parser.parse(bytes, static_cast<int>(text.size())) != 1) return std::nullopt;
  return parser.getPhoneBookWriteMessage("utf-8");
}

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
  DiscardedPictures discarded;
  OBEXStorage& pictures = folder ? static_cast<OBEXStorage&>(*folder) : discarded;
  readCard(readInput(m_file), pictures);
  if (!folder) return kDone;
  for (const std::string& path : folder->written()) {
    std::cerr << "cardtool: picture written to " << cards::safeText(path) << std::endl;
  }
  return kDone;
}

void ReadCommand::readCard(const std::string& text, OBEXStorage& pictures) {
  const ReadingTrace trace;
  const std::optional<std::string> message = messageOf(text, pictures);
  if (!message) refuse(text, trace);
  printMessage(*message);
  tellOddities(*message, trace.cutTexts());
}

// Read once more with traces, of which there is one for each byte, to see where it ends.
void ReadCommand::refuse(const std::string& text, const ReadingTrace& trace) {
  std::string reason = trace.reason();
  if (trace.pictureRefusal().empty()) {
    const ReadingTrace closer;
    DiscardedPictures discarded;
    setLogLevel(kLogTrace);
    messageOf(text, discarded);
    setLogLevel(kLogError);
    reason = closer.reason();
  }
  throw Failure(kFailed, "this card can't be read: " + reason);
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
