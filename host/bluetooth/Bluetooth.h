#pragma once

#include <glibmm.h>

#include <string>

#include "host/bluetooth/AdapterManager.h"
#include "host/bluetooth/Bluez.h"
#include "host/bluetooth/DeviceRegistry.h"
#include "host/bluetooth/RecordPublisher.h"

namespace host {

/// What the telephone does with BlueZ: while it receives, the adapter is on and the service record
/// is published, so that other phones offer to send to it. A missing BlueZ or adapter is logged
/// once; everything continues when it appears.
///
/// Threads: the main thread, except for the result of `peers`.
class Bluetooth {
 public:
  /// For the telephone's status.
  struct State {
    std::string missing;  ///< why other phones can't find this one; empty if they can
    std::string bluez;    ///< "ready", "missing", or "denied" (by the bus's policy)
    std::string adapter;  ///< "hci0"; empty if there is none
    std::string address;
    bool powered = false;
    bool discoverable = false;
    int visibleSeconds = 0;      ///< see `AdapterManager::secondsLeft`
    std::string visibleProblem;  ///< empty if it is visible or need not be
    std::string record;          ///< "published", "off", or why it isn't published
    bool recordDenied = false;   ///< by the bus's policy
  };

  /// `adapter` is the adapter to use, see `BluezObjects::adapter`.
  explicit Bluetooth(const std::string& adapter);
  ~Bluetooth();
  Bluetooth(const Bluetooth&) = delete;
  Bluetooth& operator=(const Bluetooth&) = delete;

  void start();
  void stop();

  /// The channel that a push server listens on, 0 for none. A server that is gone for less than a
  /// second still counts: it reopens its socket after each connection.
  void listening(int channel);
  void makeVisible(int seconds) { m_adapter.makeVisible(seconds); }

  [[nodiscard]] State state() const;
  [[nodiscard]] const DeviceRegistry& peers() const { return m_peers; }

 private:
  void setChannel(int channel);
  void changed();
  [[nodiscard]] std::string missing() const;
  [[nodiscard]] std::string recordState() const;
  [[nodiscard]] std::string bluezState() const;

  Bluez m_bluez;
  RecordPublisher m_record;
  AdapterManager m_adapter;
  DeviceRegistry m_peers;
  int m_channel = 0;
  std::string m_logged;  ///< the last state of `missing` that was logged
  sigc::connection m_pause;
};

}  // namespace host
