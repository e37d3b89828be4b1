#include <unistd.h>

#include <CLI/CLI.hpp>
#include <filesystem>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <system_error>

#include "cards/CardReader.h"
#include "cards/Contact.h"
#include "cards/InputFile.h"
#include "cards/SafeText.h"

namespace {

/// Exit codes, documented in `--help`.
enum ExitCode : int {
  kDone = 0,
  kFailed = 1,  ///< unreadable card or contact, or a picture or the output can't be written
  kUsage = 2,   ///< wrong command line
  kNoInput = 3  ///< a given file or folder can't be used
};

constexpr const char* kExitCodes =
    "\n\nExit codes: 0 success; 1 the card or contact is invalid, or its picture or the output\n"
    "can't be written; 2 wrong command line; 3 a given file or folder can't be used.";

/// Ends the program with a message for the user, safe to print.
class Failure : public std::runtime_error {
 public:
  Failure(ExitCode exitCode, const std::string& message)
      : std::runtime_error(message), m_exitCode(exitCode) {}

  [[nodiscard]] ExitCode exitCode() const { return m_exitCode; }

 private:
  ExitCode m_exitCode;
};

bool toTerminal() { return ::isatty(STDOUT_FILENO) == 1; }

void print(const std::string& text) {
  std::cout << text << std::flush;
  if (!std::cout.good()) throw Failure(kFailed, "can't write to standard output");
}

void note(const std::string& sentence) { std::cerr << "cardtool: " << sentence << std::endl; }

std::string photoFolder(const std::string& folder) {
  std::error_code error;
  const std::filesystem::path whole = std::filesystem::canonical(folder, error);
  if (!error && std::filesystem::is_directory(whole, error)) return whole.string();
  throw Failure(kNoInput, "--photos " + cards::safeText(folder) +
                              ": no such folder. Create it first, for example with mkdir");
}

/// `photos` may be empty: pictures are then discarded.
void readCard(const std::string& file, const std::string& photos) {
  std::optional<cards::PictureFolder> folder;
  if (!photos.empty()) folder.emplace(photoFolder(photos));
  cards::DiscardedPictures discarded;
  OBEXStorage& pictures = folder ? static_cast<OBEXStorage&>(*folder) : discarded;
  const cards::CardReading reading = cards::readCard(cards::readInput(file), pictures);
  if (!reading.message) throw Failure(kFailed, "can't read this card: " + reading.error);
  print((toTerminal() ? cards::safeText(*reading.message) : *reading.message) + "\n");
  if (reading.truncatedTexts > 0) {
    note(std::to_string(reading.truncatedTexts) +
         " field(s) truncated at a character that the phone can't represent");
  }
  if (!cards::holdsAnything(cards::cardFromMessage(*reading.message))) {
    note("the card has no known field");
  }
  if (!folder) return;
  for (const std::string& path : folder->written()) {
    note("picture written to " + cards::safeText(path));
  }
}

void writeCard(const std::string& file) {
  const std::string json = cards::readInput(file);
  cards::Contact contact;
  try {
    contact = cards::contactFromJson(json);
  } catch (const std::runtime_error& error) {
    throw Failure(kFailed, cards::shownInput(file) + ": " + error.what());
  }
  const cards::SentCard card = cards::sentCard(contact);
  print(toTerminal() ? cards::safeLines(card.text) : card.text);
  if (card.pictureMissing) {
    note("the picture " + cards::safeText(contact.picture) + " is unreadable or empty; left out");
  }
}

/// `file` and `photos` must outlive the parsing of the command line, which runs the command.
void addRead(CLI::App& app, std::string& file, std::string& photos) {
  CLI::App* const command =
      app.add_subcommand("read", "Read a card as the phone does and print what it would store");
  command->footer(std::string("Prints the phonebook write message, one line of XML in UTF-8; on a "
                              "terminal, control\ncharacters are escaped. Without --photos, "
                              "pictures are discarded. A card may have up to\n4 MiB. Several cards "
                              "in one file become one entry, as on the phone.") +
                  kExitCodes);
  command->add_option("file", file, "The card, a .vcf file, or - for standard input")
      ->required()
      ->type_name("FILE|-");
  command
      ->add_option("--photos", photos,
                   "Write pictures to this existing folder; a different picture of the same name "
                   "is kept as NAME~")
      ->type_name("DIR");
  command->callback([&] { readCard(file, photos); });
}

void addWrite(CLI::App& app, std::string& file) {
  CLI::App* const command =
      app.add_subcommand("write", "Print the card that the phone sends for a contact");
  command->footer(
      "The contact is a JSON object of strings, as printed by\n"
      "`phonectl book show --contact`. Its fields, all optional:\n" +
      cards::contactKeys() +
      "\n"
      "The default number is Office, Office2, Mobile or Private. The picture is the "
      "name of a\nJPEG file in /data/images, of which the phone sends the first 102400 "
      "bytes; an unreadable\none is left out with a warning. The card is printed byte "
      "for byte; on a terminal, control\ncharacters are escaped." +
      kExitCodes);
  command->add_option("contact", file, "The contact, a .json file, or - for standard input")
      ->required()
      ->type_name("CONTACT.json|-");
  command->callback([&] { writeCard(file); });
}

int run(int argc, char** argv) {
  std::string file;
  std::string photos;
  CLI::App app("Reads and writes business cards as the telephone does, without a telephone.",
               "cardtool");
  app.set_version_flag("--version", std::string("cardtool ") + PHONE_VERSION);
  // No required subcommand: CLI11 would report "missing" instead of a misspelt name.
  app.require_subcommand(0, 1);
  app.footer("Run `cardtool COMMAND --help` for the options and exit codes of a command.");
  addRead(app, file, photos);
  addWrite(app, file);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kDone : kUsage;
  }
  if (!app.get_subcommands().empty()) return kDone;
  note("no command given; run cardtool --help for a list");
  return kUsage;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const Failure& failure) {
    note(failure.what());
    return failure.exitCode();
  } catch (const cards::InputError& error) {
    note(error.what());
    return kNoInput;
  } catch (const std::exception& error) {
    note(error.what());
    return kFailed;
  }
}
