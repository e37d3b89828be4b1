#pragma once

#include <string>
#include <vector>

#include "cards/Card.h"
#include "host/directory/DirectoryClient.h"
#include "tools/phonectl/BlockingCall.h"

namespace phonectl {

/// The phone's phonebook, asked over the bus.
///
/// Threads: as BlockingCall. Errors come as Failure, with the phonebook's own reason where it
/// refused.
class Phonebook {
 public:
  Phonebook(PhoneBus& bus, const StopSignals& signals) : m_patient(bus, signals) {}

  /// Every entry, in the phonebook's order, with these of its columns.
  std::vector<cards::Card> list(const std::vector<host::Column>& columns);
  /// Every column of the entries with this Id: one or none.
  std::vector<cards::Card> withId(const std::string& id);
  /// The entry that a user means by its Id or name, with every column. Throws Failure when there is
  /// none or when several have that name, which are listed then.
  cards::Card named(const std::string& which);
  /// Every column of the entries with the same names and numbers: what the phone takes for the same
  /// card when one comes in. A card without any of them is never there.
  std::vector<cards::Card> same(const cards::Card& card);
  /// Adds an entry and returns its Id.
  std::string add(const cards::Card& card);
  /// The same, by a phonebook write message.
  std::string write(const std::string& message);
  /// Replaces these texts of an entry.
  void update(const std::string& id, const std::vector<host::ColumnValue>& texts);
  void remove(const std::string& id);
  /// Throws Failure when it can't be read, or not written: what is tried is to change an entry that
  /// isn't there.
  void tryWriting();

 private:
  std::vector<cards::Card> read(const std::string& request);
  host::DirectoryAnswer ask(const std::string& request);
  host::DirectoryAnswer answerTo(const std::string& request);

  BlockingCall m_patient;
};

}  // namespace phonectl
