#pragma once

#include <string>
#include <vector>

#include "host/directory/DirectoryClient.h"
#include "tools/cards/Card.h"
#include "tools/phonectl/PatientCall.h"

namespace phonectl {

/// The phone's phonebook, asked over the bus.
///
/// Threads: as PatientCall. Errors come as Failure, with the phonebook's own reason where it
/// refused.
class Phonebook {
 public:
  Phonebook(PhoneBus& bus, const StopSignals& signals) : m_patient(bus, signals) {}

  /// Every entry, in the phonebook's order, with these of its columns.
  std::vector<cards::Card> list(const std::vector<host::Column>& columns);
  /// Every column of the entries with this Id: one or none.
  std::vector<cards::Card> withId(const std::string& id);

 private:
  std::vector<cards::Card> read(const std::string& request);
  host::DirectoryAnswer ask(const std::string& request);

  PatientCall m_patient;
};

}  // namespace phonectl
