#pragma once

#include <giomm.h>

#include <string>

#include "dbus/Backoff.h"
#include "host/bluetooth/Bluez.h"
#include "host/bus/BusObject.h"

namespace host {

/// The service record that makes other phones offer "share by Bluetooth" to this one: OBEX Object
/// Push on this RFCOMM channel, for vCard 2.1 and 3.0. In BlueZ's XML format.
std::string serviceRecord(int channel);

/// Keeps our service record registered with BlueZ while it is wanted. Registers again when BlueZ
/// restarts; a refused registration is repeated with growing pauses.
///
/// Threads: the main thread. `bluez` must outlive it.
class RecordPublisher {
 public:
  explicit RecordPublisher(Bluez& bluez);
  ~RecordPublisher();
  RecordPublisher(const RecordPublisher&) = delete;
  RecordPublisher& operator=(const RecordPublisher&) = delete;

  /// The RFCOMM channel that the record names from now on; 0 for no record.
  void want(int channel);
  /// Call after any change in BlueZ.
  void update();

  [[nodiscard]] bool registered() const { return m_state == State::kRegistered; }
  /// Why BlueZ refused the record, without a full stop; empty if no problem is known.
  [[nodiscard]] const std::string& problem() const { return m_problem; }
  /// Whether the problem is that the bus's policy denies access to BlueZ.
  [[nodiscard]] bool denied() const { return m_denied && !m_problem.empty(); }

 private:
  enum class State { kNone, kRegistering, kRegistered };

  GVariant* serve(const std::string& method);
  void registerRecord();
  void registrationAnswered(const Bluez::Reply& reply);
  void unregisterRecord();
  void tryLater();

  Bluez& m_bluez;
  int m_wanted = 0;
  int m_channel = 0;  ///< in the record that is registered or being registered
  State m_state = State::kNone;
  std::string m_problem;
  bool m_denied = false;
  unsigned m_generation = 0;  ///< of BlueZ, when the state was entered
  dbus::Backoff m_backoff{std::chrono::seconds(2), std::chrono::minutes(5)};
  sigc::connection m_timer;
  BusObject m_profile;
  dbus::Connection m_exportedOn;  ///< where `m_profile` is exported
};

}  // namespace host
