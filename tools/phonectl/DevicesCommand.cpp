#include <algorithm>
#include <iostream>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>

#include "cards/Card.h"
#include "cards/SafeText.h"
#include "host/bluetooth/DeviceRegistry.h"
#include "tools/phonectl/BlockingBluez.h"
#include "tools/phonectl/BlockingCall.h"
#include "tools/phonectl/Commands.h"
#include "tools/phonectl/VisibleTime.h"

namespace phonectl {

namespace {

constexpr int kUsualScan = 8;

/// `phonectl devices`: the devices that BlueZ knows, and those in reach.
class DevicesCommand {
 public:
  explicit DevicesCommand(CLI::App& command);
  /// Needs no phone.
  int run();

 private:
  /// A device, by its address, of all that adapters have met.
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

DevicesCommand::DevicesCommand(CLI::App& command) : m_scan(kUsualScan) {
  command.add_flag("--json", m_json, "A JSON array, one object a device");
  command
      .add_option("--scan", m_scan, "How long to search: 10s, 1m; 0 for not at all (default: 8s)")
      ->type_name("TIME")
      ->transform([](const std::string& text) {
        const auto seconds = text == "0" ? std::optional<int>(0) : visibleTime(text);
        if (!seconds || *seconds < 0)
          throw CLI::ValidationError("--scan",
                                     "\"" + text + "\" is no time such as 10s, and not 0");
        return std::to_string(*seconds);
      });
}

int DevicesCommand::run() {
  const StopSignals signals;
  BlockingBluez bluez(signals);
  if (!bluez.ready()) throw Failure(kFailed, bluez.missing() + ". See: phonectl doctor");
  const host::AdapterFacts* const adapter = bluez.objects().adapter("");
  if (adapter == nullptr) {
    std::cerr << "phonectl: there is no Bluetooth adapter; these are known from before"
              << std::endl;
  } else if (m_scan > 0) {
    const std::string problem = bluez.scan(*adapter, m_scan);
    if (!problem.empty())
      std::cerr << "phonectl: can't search for devices: " << problem << std::endl;
  }
  const std::vector<Row> rows = rowsOf(bluez.objects());
  if (m_json) {
    printJson(rows);
  } else {
    print(rows);
  }
  return kDone;
}

std::vector<DevicesCommand::Row> DevicesCommand::rowsOf(const host::BluezObjects& objects) {
  std::map<std::string, Row> rows;
  for (const auto& [path, device] : objects.devices()) {
    if (device.address.empty()) continue;
    const host::Peer peer = host::DeviceRegistry::peerOf(device);
    const auto [entry, isNew] = rows.try_emplace(device.address);
    Row& row = entry->second;
    row.address = device.address;
    row.peer = isNew ? peer : host::DeviceRegistry::join(row.peer, peer);
    row.trusted = (isNew || row.trusted) && device.trusted;
    row.connected = row.connected || device.connected;
    row.near = row.near || device.near || device.connected;
  }
  std::vector<Row> sorted;
  for (const auto& [address, row] : rows) sorted.push_back(row);
  std::stable_sort(sorted.begin(), sorted.end(),
                   [](const Row& one, const Row& other) { return one.near > other.near; });
  return sorted;
}

std::string DevicesCommand::trustOf(const Row& row) {
  const bool onlyPaired = row.peer.trust == host::Peer::TrustLevel::kStranger && row.peer.paired;
  return onlyPaired ? "paired" : row.peer.word();
}

void DevicesCommand::print(const std::vector<Row>& rows) {
  if (rows.empty()) std::cerr << "phonectl: no device is known, and none was found" << std::endl;
  for (const Row& row : rows) {
    const std::string name = cards::safeText(row.peer.name, cards::kMaxShown);
    std::string trust = trustOf(row);
    trust.resize(std::max<std::size_t>(trust.size(), 9), ' ');
    printLine(row.address + "  " + trust + (row.near ? "near  " : "      ") +
              (name.empty() ? "(no name)" : name));
  }
}

void DevicesCommand::printJson(const std::vector<Row>& rows) {
  nlohmann::ordered_json all = nlohmann::ordered_json::array();
  for (const Row& row : rows) {
    all.push_back({{"address", row.address},
                   {"name", row.peer.name},
                   {"trust", trustOf(row)},
                   {"paired", row.peer.paired},
                   {"trusted", row.trusted},
                   {"blocked", row.peer.trust == host::Peer::TrustLevel::kBlocked},
                   {"connected", row.connected},
                   {"near", row.near}});
  }
  printLine(cards::jsonLine(all));
}

}  // namespace

void addDevices(CLI::App& parent, Context& context) {
  CLI::App& command = addCommand(
      parent, "devices", "List Bluetooth devices: address, name, trust, whether in reach",
      "The list is of the devices that BlueZ knows and of those that a search finds, which\n"
      "must be visible. Trust is \"trusted\" (paired and trusted), \"paired\", \"stranger\" "
      "or\n\"blocked\"; `bluetoothctl pair ADDRESS` and `bluetoothctl trust ADDRESS` change "
      "it.\nNo phone needs to run.");
  const auto devices = std::make_shared<DevicesCommand>(command);
  command.callback([&context, devices] { context.exitCode = devices->run(); });
}

}  // namespace phonectl
