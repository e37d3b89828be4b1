#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/bluetooth/DeviceRegistry.h"
#include "tools/phonectl/Command.h"

namespace phonectl {

/// `phonectl devices`: the devices that BlueZ knows, and those in range.
class DevicesCommand : public Command {
 public:
  explicit DevicesCommand(CLI::App& parent);
  /// Needs no phone.
  int start(const dbus::BusAddress& place) override;

 protected:
  int run(PhoneBus& bus) override;

 private:
  /// One device, whichever adapters know it.
  struct Row {
    std::string address;
    host::Peer peer;
    bool trusted = false;
    bool connected = false;
    bool near = false;
  };

  static std::vector<Row> rowsOf(const host::BluezObjects& objects);
  static std::string trustOf(const Row& row);
  static void print(const std::vector<Row>& rows);
  static void printJson(const std::vector<Row>& rows);

  int m_scan;
  bool m_json = false;
};

}  // namespace phonectl
