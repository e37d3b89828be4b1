#pragma once

#include <string>

#include "cards/Contact.h"
#include "tools/phonectl/Command.h"
#include "tools/phonectl/Sending.h"

namespace phonectl {

/// `phonectl send CONTACT --to ADDRESS|NAME [--channel N]`: sends a contact to another device.
class SendCommand : public Command {
 public:
  explicit SendCommand(CLI::App& parent);
  int run(PhoneBus& bus) override;

 private:
  [[nodiscard]] contacts::Contact contact(PhoneBus& bus, const StopSignals& signals) const;

  void findDestination(PhoneBus& bus, const StopSignals& signals);
  [[nodiscard]] int findChannel(const StopSignals& signals) const;

  std::string m_which;
  std::string m_file;
  bool m_pending = false;
  std::string m_device;  ///< address or name
  Destination m_destination{"", 0};
};

}  // namespace phonectl
