#pragma once

#include "tools/phonectl/Command.h"

namespace phonectl {

/// `phonectl reject`: has every waiting card thrown away.
class RejectCommand : public Command {
 public:
  explicit RejectCommand(CLI::App& parent);
  int run(PhoneBus& bus) override;
};

}  // namespace phonectl
