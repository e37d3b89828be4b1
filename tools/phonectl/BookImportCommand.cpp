#include <algorithm>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string_view>

#include "cards/CardReader.h"
#include "cards/InputFile.h"
#include "cards/VCardSplitter.h"
#include "tools/phonectl/Commands.h"
#include "tools/phonectl/Phonebook.h"

namespace phonectl {

namespace {

// More than any phonebook.
constexpr std::size_t kMaxFile = std::size_t{256} << 20;

std::string counted(std::size_t number, const char* what) {
  return std::to_string(number) + " " + what;
}

/// The phone's reader ends lines at LF only and ignores CR.
std::string withLineFeeds(std::string_view text) {
  std::string lines(text);
  if (text.find('\n') == std::string_view::npos)
    std::replace(lines.begin(), lines.end(), '\r', '\n');
  return lines;
}

/// Imports .vcf files card by card, as the phone takes received cards. Reports on standard error
/// every card that it doesn't store.
class Import {
 public:
  explicit Import(Phonebook& book) : m_book(book) {}

  /// Throws Failure if the phone or the user leaves. A bad card or file doesn't end the import.
  void importFile(const std::string& file);

  [[nodiscard]] bool complete() const { return m_failed == 0 && m_emptyFiles == 0; }
  [[nodiscard]] std::string summary() const;

 private:
  void importCards(const std::string& file, const std::string& text);
  void importCard(const cards::CardSlice& slice, const std::string& place, ProgressBar& bar);
  void store(const std::string& message, const std::string& place, ProgressBar& bar);
  void reject(const std::string& place, const std::string& why, ProgressBar& bar);

  Phonebook& m_book;
  cards::PictureFolder m_pictures;
  std::size_t m_stored = 0;
  std::size_t m_existing = 0;
  std::size_t m_failed = 0;
  std::size_t m_emptyFiles = 0;
};

void Import::importFile(const std::string& file) {
  std::string text;
  try {
    text = cards::readInput(file, kMaxFile);
  } catch (const cards::InputError& error) {
    m_emptyFiles += 1;
    std::cerr << "phonectl: " << error.what() << std::endl;
    return;
  }
  importCards(cards::shownInput(file), text);
}

void Import::importCards(const std::string& file, const std::string& text) {
  const std::vector<cards::CardSlice> slices = cards::splitCards(text);
  if (slices.empty()) {
    m_emptyFiles += 1;
    std::cerr << "phonectl: " << file << ": contains no card" << std::endl;
  }
  ProgressBar bar(slices.size(), "cards");
  for (std::size_t i = 0; i < slices.size(); ++i) {
    const std::string place = "phonectl: " + file + ", line " + std::to_string(slices[i].line) +
                              ", card " + std::to_string(i + 1);
    importCard(slices[i], place, bar);
    bar.show(i + 1);
  }
}

void Import::importCard(const cards::CardSlice& slice, const std::string& place, ProgressBar& bar) {
  if (slice.text.size() > cards::kMaxInput) {
    return reject(place, "it is larger than 4 MiB, the phone's limit", bar);
  }
  if (slice.begins > 1) {
    return reject(
        place,
        "it has " + std::to_string(slice.begins) + " BEGIN:VCARD lines; is an END:VCARD missing?",
        bar);
  }
  const cards::CardReading reading = cards::readCard(withLineFeeds(slice.text), m_pictures);
  if (!reading.message) return reject(place, reading.error, bar);
  if (reading.truncatedTexts > 0) {
    bar.printLine(place + ": " + std::to_string(reading.truncatedTexts) +
                  " field(s) truncated at a character that the phone can't represent");
  }
  store(*reading.message, place, bar);
}

void Import::store(const std::string& message, const std::string& place, ProgressBar& bar) {
  try {
    const cards::Card card = cards::cardFromMessage(message);
    if (!cards::holdsAnything(card)) return reject(place, "it has no known field", bar);
    const std::vector<cards::Card> existing = m_book.same(card);
    if (existing.empty()) {
      m_book.write(message);
      m_stored += 1;
    } else {
      m_existing += 1;
      bar.printLine(place + ": entry exists already as " + existing.front().id + ": " +
                    cards::displayName(card));
    }
  } catch (const Failure& failure) {
    if (failure.exitCode() != kFailed) throw;
    reject(place, failure.what(), bar);
  } catch (const std::runtime_error& error) {
    reject(place, error.what(), bar);
  }
}

void Import::reject(const std::string& place, const std::string& why, ProgressBar& bar) {
  m_failed += 1;
  bar.printLine(place + " was not stored: " + why);
}

std::string Import::summary() const {
  std::string text = counted(m_stored, m_stored == 1 ? "card stored" : "cards stored");
  if (m_existing > 0) text += ", " + counted(m_existing, "existed already");
  if (m_failed > 0) text += ", " + counted(m_failed, "not stored");
  if (m_emptyFiles > 0) {
    text += ", " + counted(m_emptyFiles, m_emptyFiles == 1 ? "file" : "files") + " without a card";
  }
  return text + ".";
}

int importFiles(const Context& context, const std::vector<std::string>& files) {
  PhoneBus bus(context.place());
  const StopSignals signals;
  Phonebook book(bus, signals);
  Import import(book);
  try {
    for (const std::string& file : files) import.importFile(file);
  } catch (const Failure&) {
    std::cerr << "phonectl: the import is incomplete: " << import.summary()
              << " Repeat it to continue; stored cards are not stored twice." << std::endl;
    throw;
  }
  printLine(import.summary());
  return import.complete() ? kDone : kFailed;
}

}  // namespace

void addBookImport(CLI::App& parent, Context& context) {
  CLI::App& command = addCommand(
      parent, "import", "Import cards from .vcf files",
      "Each file may hold many cards, which are read as the phone reads received cards: photos go\n"
      "to /data/images, and a card whose names and numbers exist already is not stored again.\n"
      "Each card that is not stored is reported with its file and line, and the others are stored\n"
      "all the same; the exit code is 1 if a card failed. A file may have up to 256 MiB, a card\n"
      "4 MiB.");
  const auto files = std::make_shared<std::vector<std::string>>();
  command.add_option("files", *files, ".vcf files, or - for standard input")
      ->required()
      ->type_name("FILE|-");
  command.callback([&context, files] { context.exitCode = importFiles(context, *files); });
}

}  // namespace phonectl
