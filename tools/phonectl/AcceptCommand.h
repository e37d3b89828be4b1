#pragma once

#include "tools/phonectl/Command.h"

namespace phonectl {

/// `phonectl accept`: has every waiting card stored.
class AcceptCommand : public Command {
 public:
  explicit AcceptCommand(CLI::App& parent);
  int run(PhoneBus& bus) override;

 private:
  bool m_json = false;
};

}  // namespace phonectl
