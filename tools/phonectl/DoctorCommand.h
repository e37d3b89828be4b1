#pragma once

#include "tools/phonectl/Command.h"

namespace phonectl {

/// `phonectl doctor`: what stands between another phone and this one.
class DoctorCommand : public Command {
 public:
  explicit DoctorCommand(CLI::App& parent);
  /// Needs no phone: that there is none is a finding.
  int start(const BusPlace& place) override;

 protected:
  int run(PhoneBus& bus) override;

 private:
  bool m_json = false;
};

}  // namespace phonectl
