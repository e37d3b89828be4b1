#include <algorithm>
#include <iostream>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>

#include "cards/Card.h"
#include "cards/SafeText.h"
#include "host/bluetooth/DeviceRegistry.h"
#include "tools/phonectl/BlockingBluez.h"
#include "tools/phonectl/Commands.h"
#include "tools/phonectl/Duration.h"

namespace phonectl {

namespace {

constexpr int kDefaultScan = 8;

/// One device, whichever adapters know it.
struct Row {
  std::string address;
  host::Peer peer;
  bool trusted = false;
  bool connected = false;
  bool near = false;
};

std::vector<Row> rowsOf(const host::BluezObjects& objects) {
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

std::string trustOf(const Row& row) {
  const bool onlyPaired = row.peer.trust == host::Peer::TrustLevel::kStranger && row.peer.paired;
  return onlyPaired ? "paired" : row.peer.word();
}

void printTable(const std::vector<Row>& rows) {
  if (rows.empty()) std::cerr << "phonectl: no devices known or found" << std::endl;
  for (const Row& row : rows) {
    const std::string name = cards::safeText(row.peer.name, cards::kMaxShown);
    std::string trust = trustOf(row);
    trust.resize(std::max<std::size_t>(trust.size(), 9), ' ');
    printLine(row.address + "  " + trust + (row.near ? "near  " : "      ") +
              (name.empty() ? "(no name)" : name));
  }
}

void printJson(const std::vector<Row>& rows) {
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

void list(const Context& context, int scanSeconds) {
  const StopSignals signals;
  BlockingBluez bluez(signals);
  if (!bluez.ready())
    throw Failure(kFailed, bluez.missing(), "find the cause with: phonectl doctor");
  const host::AdapterFacts* const adapter = bluez.objects().adapter("");
  if (adapter == nullptr) {
    std::cerr << "phonectl: there is no Bluetooth adapter; listing known devices only" << std::endl;
  } else if (scanSeconds > 0) {
    const std::string problem = bluez.scan(*adapter, scanSeconds);
    if (!problem.empty()) std::cerr << "phonectl: can't scan for devices: " << problem << std::endl;
  }
  const std::vector<Row> rows = rowsOf(bluez.objects());
  if (context.json) {
    printJson(rows);
  } else {
    printTable(rows);
  }
}

std::string scanOption(const std::string& text) {
  const auto seconds = text == "0" ? std::optional(0) : parseDuration(text);
  if (!seconds)
    throw CLI::ValidationError("--scan", "\"" + text + "\" is not a time such as 10s, or 0");
  return std::to_string(*seconds);
}

}  // namespace

void addDevices(CLI::App& parent, Context& context) {
  CLI::App& command = addCommand(
      parent, "devices", "List Bluetooth devices: address, trust, whether in range, name",
      "Lists the devices that BlueZ knows and the visible ones that a scan finds. Trust is\n"
      "\"trusted\" (paired and trusted), \"paired\", \"stranger\" or \"blocked\"; change it "
      "with\n`bluetoothctl pair ADDRESS` and `bluetoothctl trust ADDRESS`. The phone need not "
      "run.");
  command.add_flag("--json", context.json, "Print a JSON array, one object for each device");
  const auto scanSeconds = std::make_shared<int>(kDefaultScan);
  command
      .add_option("--scan", *scanSeconds,
                  "How long to scan: 10s, 1m; 0 to skip the scan (default: 8s)")
      ->type_name("TIME")
      ->transform(scanOption);
  command.callback([&context, scanSeconds] { list(context, *scanSeconds); });
}

}  // namespace phonectl
