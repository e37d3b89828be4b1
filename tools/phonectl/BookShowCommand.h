#pragma once

#include <string>

#include "cards/Card.h"
#include "tools/phonectl/Command.h"
#include "tools/phonectl/PhoneBus.h"
#include "tools/phonectl/StopSignals.h"

namespace phonectl {

/// `phonectl book show ID|NAME`: one entry with everything in it.
class BookShowCommand : public Command {
 public:
  explicit BookShowCommand(CLI::App& parent);
  int run(PhoneBus& bus) override;

 private:
  static void printContact(const cards::Card& card);
  void printText(PhoneBus& bus, const StopSignals& signals, const cards::Card& card) const;

  std::string m_which;
  bool m_json = false;
  bool m_contact = false;
};

}  // namespace phonectl
