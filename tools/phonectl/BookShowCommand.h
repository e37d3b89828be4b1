#pragma once

#include <string>
#include <vector>

#include "tools/cards/Card.h"
#include "tools/phonectl/Command.h"
#include "tools/phonectl/Phonebook.h"

namespace phonectl {

/// `phonectl book show ID|NAME`: one entry with everything in it.
class BookShowCommand : public Command {
 public:
  explicit BookShowCommand(CLI::App& parent);
  int run(PhoneBus& bus) override;

 private:
  [[nodiscard]] cards::Card find(Phonebook& book) const;
  [[nodiscard]] bool mayBeId() const;
  [[noreturn]] void refuseAmbiguous(const std::vector<cards::Card>& found) const;
  void printText(PhoneBus& bus, const StopSignals& signals, const cards::Card& card) const;

  std::string m_which;
  bool m_json = false;
};

}  // namespace phonectl
