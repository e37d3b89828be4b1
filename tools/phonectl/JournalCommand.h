#pragma once

#include <string>
#include <vector>

#include "tools/phonectl/Command.h"
#include "tools/phonectl/Parameters.h"

namespace phonectl {

/// `phonectl journal`: what became of every push.
class JournalCommand : public Command {
 public:
  explicit JournalCommand(CLI::App& parent);

 protected:
  int run(PhoneBus& bus) override;

 private:
  static void print(const std::vector<Parameters>& entries);
  static void printJson(const std::vector<Parameters>& entries);

  int m_last;
  bool m_json = false;
};

}  // namespace phonectl
