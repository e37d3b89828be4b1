#pragma once

#include <string>

#include "tools/phonectl/BlockingCall.h"
#include "tools/phonectl/Command.h"

namespace phonectl {

/// `phonectl receive on|off`.
class ReceiveCommand : public Command {
 public:
  explicit ReceiveCommand(CLI::App& parent);
  int run(PhoneBus& bus) override;

 private:
  [[nodiscard]] bool on() const { return m_state == "on"; }
  void tellDeferred(const std::string& missingRadio) const;
  void makeVisible(BlockingCall& call) const;

  std::string m_state;
  int m_visible = 0;  ///< seconds, -1 for ever, 0 for no change
};

}  // namespace phonectl
