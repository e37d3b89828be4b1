#include <glib.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>

#include "cards/CardReader.h"
#include "cards/SafeText.h"
#include "cards/VCardSplitter.h"
#include "tools/phonectl/Commands.h"
#include "tools/phonectl/Phonebook.h"

namespace phonectl {

namespace {

namespace fs = std::filesystem;
using cards::Card;

struct Options {
  std::vector<std::string> ids;  ///< none: all entries
  std::string out = "-";
};

// The card has no Id and Group, its picture gets a new name, and the phone's reader makes the first
// number the default if there is none.
bool mayDiffer(const Card& entry, std::string Card::*value) {
  if (value == &Card::id || value == &Card::group || value == &Card::picture) return true;
  return value == &Card::defaultNumber && entry.defaultNumber.empty();
}

/// The columns that an import of the card would fill differently; none if it would reject the card.
std::optional<std::string> differences(const Card& entry, const std::string& text) {
  const std::vector<cards::CardSlice> slices = cards::splitCards(text);
  if (slices.size() != 1 || slices.front().begins != 1) return std::nullopt;
  cards::DiscardedPictures pictures;
  const cards::CardReading reading = cards::readCard(text, pictures);
  if (!reading.message) return std::nullopt;
  std::string names;
  try {
    const Card read = cards::cardFromMessage(*reading.message);
    for (const cards::CardColumn& column : cards::kCardColumns) {
      if (mayDiffer(entry, column.value) || read.*column.value == entry.*column.value) continue;
      names += (names.empty() ? "" : ", ") + std::string(column.name);
    }
  } catch (const std::runtime_error&) {
    return std::nullopt;
  }
  return names;
}

/// Writes entries as cards, the way the phone sends them, and reads each card back as an import
/// would. Reports on standard error what an import would not restore.
class Export {
 public:
  using OnCard = std::function<void(const std::string&)>;

  Export(Phonebook& book, OnCard onCard) : m_book(book), m_onCard(std::move(onCard)) {}

  /// Throws Failure if the phone or the user leaves, and what `onCard` throws.
  void write(const std::vector<std::string>& ids);

  [[nodiscard]] bool complete() const { return m_problems == 0; }
  /// "3 cards written"
  [[nodiscard]] std::string summary() const {
    return std::to_string(m_written) + (m_written == 1 ? " card" : " cards") + " written";
  }

 private:
  void writeEntry(const Card& entry, ProgressBar& bar);
  void report(const std::string& id, const std::string& problem, ProgressBar& bar);

  Phonebook& m_book;
  const OnCard m_onCard;
  std::size_t m_written = 0;
  std::size_t m_problems = 0;
};

void Export::write(const std::vector<std::string>& ids) {
  ProgressBar bar(ids.size(), "cards");
  for (std::size_t i = 0; i < ids.size(); ++i) {
    // One request per entry: all entries together may exceed the size of a D-Bus message.
    const std::vector<Card> found = m_book.withId(ids[i]);
    if (found.empty()) {
      report(ids[i], "not in the phonebook", bar);
    } else {
      writeEntry(found.front(), bar);
    }
    bar.show(i + 1);
  }
}

void Export::writeEntry(const Card& entry, ProgressBar& bar) {
  const cards::SentCard card = cards::sentCard(cards::contactOf(entry));
  m_onCard(card.text);
  m_written += 1;
  const std::string picture = "picture " + cards::safeText(entry.picture, cards::kMaxShown);
  if (card.pictureMissing) report(entry.id, picture + " is unreadable or empty; left out", bar);
  if (card.pictureTruncated) {
    const std::string limit = std::to_string(cards::kMaxSentPicture);
    report(entry.id, picture + " is larger than " + limit + " bytes; truncated", bar);
  }
  const std::optional<std::string> differing = differences(entry, card.text);
  if (!differing) {
    report(entry.id, "can't be imported again: the text of a field breaks the card", bar);
  } else if (!differing->empty()) {
    report(entry.id, "will differ when imported again: " + *differing, bar);
  }
}

void Export::report(const std::string& id, const std::string& problem, ProgressBar& bar) {
  m_problems += 1;
  bar.printLine("phonectl: entry " + id + ": " + problem);
}

/// Where to write to: the target of a symbolic link, or the file itself. Throws Failure if it is no
/// regular file.
fs::path targetOf(const std::string& file) {
  std::error_code error;
  fs::path target = fs::canonical(file, error);
  if (error) target = file;
  const bool usable =
      target.has_filename() && (!fs::exists(target, error) || fs::is_regular_file(target, error));
  if (usable) return target;
  throw Failure(kFailed, cards::safeText(file) + ": not a regular file",
                "name a file, or - for standard output");
}

/// Replaces the file in one step; a failure leaves the old one. A new file is readable by its owner
/// only, an existing one keeps its mode.
void replaceFile(const std::string& file, const std::string& contents) {
  const fs::path target = targetOf(file);
  std::error_code error;
  const fs::file_status former = fs::status(target, error);
  constexpr auto kFlags = static_cast<GFileSetContentsFlags>(G_FILE_SET_CONTENTS_CONSISTENT |
                                                             G_FILE_SET_CONTENTS_DURABLE);
  constexpr int kOwnerOnly = 0600;
  GError* problem = nullptr;
  if (g_file_set_contents_full(target.c_str(), contents.data(),
                               static_cast<gssize>(contents.size()), kFlags, kOwnerOnly,
                               &problem) == FALSE) {
    const std::string reason = cards::safeText(problem->message);
    g_error_free(problem);
    throw Failure(kFailed, cards::safeText(file) + " was not written: " + reason);
  }
  if (fs::exists(former)) fs::permissions(target, former.permissions(), error);
}

std::vector<std::string> allIds(Phonebook& book) {
  std::vector<std::string> ids;
  for (const Card& card : book.list({host::Column::kId})) ids.push_back(card.id);
  return ids;
}

int exportEntries(const Context& context, const Options& options) {
  const bool toFile = options.out != "-";
  // Reports an unusable file before the work.
  if (toFile) static_cast<void>(targetOf(options.out));
  PhoneBus bus(context.place());
  const StopSignals signals;
  Phonebook book(bus, signals);
  const bool terminal = !toFile && ::isatty(STDOUT_FILENO) == 1;
  std::string contents;
  Export cards(book, [&](const std::string& card) {
    if (toFile) {
      contents += card;
    } else {
      print(terminal ? cards::safeLines(card) : card);
    }
  });
  cards.write(options.ids.empty() ? allIds(book) : options.ids);
  if (toFile) {
    replaceFile(options.out, contents);
    printLine(cards.summary() + " to " + cards::safeText(options.out));
  }
  return cards.complete() ? kDone : kFailed;
}

}  // namespace

void addBookExport(CLI::App& parent, Context& context) {
  CLI::App& command = addCommand(
      parent, "export", "Export entries as a .vcf file",
      "Writes all entries, or those given, as the phone sends them; `phonectl book import` reads\n"
      "the file. A file is replaced in one step when all cards are complete; a new one is "
      "readable\n"
      "by its owner only.\n"
      "Cards have no Id and Group, an imported picture gets a new name, and the first number\n"
      "becomes the default if there is none. Anything else that an import would not restore is\n"
      "reported for each entry: an unreadable picture, a picture beyond 102400 bytes, a text that\n"
      "the phone reads differently. The card is written all the same and the exit code is 1, as "
      "it\n"
      "is for an unknown id.");
  const auto options = std::make_shared<Options>();
  command.add_option("ids", options->ids, "Ids of the entries; all if omitted")
      ->type_name("ID")
      ->check(entryId());
  command.add_option("--out", options->out, ".vcf file to write, or - for standard output")
      ->type_name("FILE|-")
      ->capture_default_str();
  command.callback([&context, options] { context.exitCode = exportEntries(context, *options); });
}

}  // namespace phonectl
