#pragma once

#include "tools/phonectl/Command.h"

namespace phonectl {

/// `phonectl doctor`.
class DoctorCommand : public Command {
 public:
  explicit DoctorCommand(CLI::App& parent);
  /// Needs no phone.
  int start(const dbus::BusAddress& place) override;

 protected:
  int run(PhoneBus& bus) override;

 private:
  bool m_json = false;
};

}  // namespace phonectl
