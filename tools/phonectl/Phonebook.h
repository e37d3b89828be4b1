#pragma once

#include <string>
#include <vector>

#include "cards/Card.h"
#include "host/directory/DirectoryClient.h"
#include "tools/phonectl/BlockingCall.h"

namespace phonectl {

/// Whether `text` can be the id of an entry: a decimal number.
bool isEntryId(const std::string& text);

/// Cards as a table of id, name and numbers, the default number marked with a star. The lines are
/// safe to print; long values are truncated.
std::vector<std::string> cardTable(const std::vector<cards::Card>& cards);

/// The cards with this surname, first name, company or full name in either order; if there are
/// none, those whose name or company contains it. Ignores case and Unicode normalization.
std::vector<cards::Card> cardsNamed(const std::vector<cards::Card>& cards, const std::string& name);

/// The phone's phonebook, over the bus. Errors are Failure, with the phonebook's own reason if it
/// refused a request.
///
/// Threads: as BlockingCall.
class Phonebook {
 public:
  Phonebook(PhoneBus& bus, const StopSignals& signals) : m_call(bus, signals) {}

  /// All entries, in the phonebook's order, with only these columns set.
  std::vector<cards::Card> list(const std::vector<host::Column>& columns);
  /// The entry with this id: one or none.
  std::vector<cards::Card> withId(const std::string& id);
  /// The entry with this id or name. Throws Failure if there is none, or several with that name;
  /// the message then lists them.
  cards::Card named(const std::string& which);
  /// The entries with the same names and numbers, which the phone treats as duplicates. None for a
  /// card that has neither.
  std::vector<cards::Card> same(const cards::Card& card);
  /// Adds an entry and returns its id.
  std::string add(const cards::Card& card);
  /// Adds the entry of a phonebook write message and returns its id.
  std::string write(const std::string& message);
  /// Replaces some columns of an entry.
  void update(const std::string& id, const std::vector<host::ColumnValue>& values);
  void remove(const std::string& id);
  /// Throws Failure if the phonebook can't be read or written. Writes by updating an entry that
  /// doesn't exist.
  void tryWriting();

 private:
  std::vector<cards::Card> read(const std::string& request);
  host::DirectoryAnswer ask(const std::string& request);
  host::DirectoryAnswer answerTo(const std::string& request);

  BlockingCall m_call;
};

}  // namespace phonectl
