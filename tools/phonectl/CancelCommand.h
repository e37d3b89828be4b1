#pragma once

#include "tools/phonectl/Command.h"

namespace phonectl {

/// `phonectl cancel`: drops the contact that waits to be sent.
class CancelCommand : public Command {
 public:
  explicit CancelCommand(CLI::App& parent);
  int run(PhoneBus& bus) override;
};

}  // namespace phonectl
