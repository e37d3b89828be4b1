#pragma once

#include "tools/phonectl/Command.h"
#include "tools/phonectl/Watch.h"

namespace phonectl {

/// `phonectl watch`: shows cards as they come in, and answers.
class WatchCommand : public Command {
 public:
  explicit WatchCommand(CLI::App& parent);
  int run(PhoneBus& bus) override;

 private:
  [[nodiscard]] Watch::Mode mode() const;

  bool m_json = false;
  bool m_accept = false;
  bool m_reject = false;
  bool m_ask = false;
};

}  // namespace phonectl
