#pragma once

#include "tools/phonectl/Command.h"

namespace phonectl {

/// `phonectl status`: how the phone is.
class StatusCommand : public Command {
 public:
  explicit StatusCommand(CLI::App& parent);
  int run(PhoneBus& bus) override;

 private:
  bool m_json = false;
};

}  // namespace phonectl
