#pragma once

#include <glibmm.h>

#include <string>

#include "host/bluetooth/AdapterManager.h"
#include "host/bluetooth/Bluez.h"
#include "host/bluetooth/DeviceRegistry.h"
#include "host/bluetooth/RecordPublisher.h"

namespace host {

/// The telephone's side of BlueZ: while it receives, other phones can see, by its service record,
/// that it takes cards, and the adapter is on. Where BlueZ or an adapter is missing it says so,
/// once in the log, and goes on when they come.
///
/// Threads: the main thread, except for what `peers` gives.
class Bluetooth {
 public:
  /// How things are, for status.
  struct State {
    std::string missing;  ///< what keeps phones from finding this one, empty for nothing
    std::string bluez;    ///< "ready", "missing", or "denied" by the policy of the bus
    std::string adapter;  ///< "hci0", empty without one
    std::string address;
    bool powered = false;
    bool discoverable = false;
    int visibleSeconds = 0;      ///< see `AdapterManager::secondsLeft`
    std::string visibleProblem;  ///< empty when it is visible, or was not asked to be
    std::string record;          ///< "published", "off" or a sentence
    bool recordDenied = false;   ///< by the policy of the bus
  };

  /// `adapter` names the one to use, empty for the first.
  explicit Bluetooth(const std::string& adapter);
  ~Bluetooth();
  Bluetooth(const Bluetooth&) = delete;
  Bluetooth& operator=(const Bluetooth&) = delete;

  void start();
  void stop();

  /// A push server listens on this channel; 0: none does. One that is gone for a moment, because
  /// it opens its link anew, still counts as there.
  void listening(int channel);
  void makeVisible(int seconds) { m_care.makeVisible(seconds); }

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
  AdapterManager m_care;
  DeviceRegistry m_peers;
  int m_channel = 0;
  std::string m_logged;  ///< what was missing when it was last logged
  sigc::connection m_pause;
};

}  // namespace host
