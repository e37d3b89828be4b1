#pragma once

#include <giomm.h>

#include <string>

#include "host/bluetooth/Bluez.h"
#include "host/bus/BusObject.h"

namespace host {

/// Keeps our service record published through BlueZ while it is wanted, whatever happens to BlueZ
/// meanwhile. A registration that is refused is tried again, ever more seldom.
///
/// Threads: the main thread. `bluez` must outlive it.
class RecordPublisher {
 public:
  explicit RecordPublisher(Bluez& bluez);
  ~RecordPublisher();
  RecordPublisher(const RecordPublisher&) = delete;
  RecordPublisher& operator=(const RecordPublisher&) = delete;

  /// From now on the record shall name this RFCOMM channel; 0 for no record.
  void want(int channel);
  /// To be called when anything about BlueZ has changed.
  void update();

  /// Whether BlueZ has taken the record and not given it back.
  [[nodiscard]] bool registered() const { return m_state == State::kRegistered; }
  [[nodiscard]] int channel() const { return m_channel; }
  /// Why BlueZ didn't take it, a sentence without an end; empty when nothing is known to be wrong.
  [[nodiscard]] const std::string& problem() const { return m_problem; }
  /// Whether that is the policy of the bus, which let nothing through to BlueZ.
  [[nodiscard]] bool denied() const { return m_denied && !m_problem.empty(); }

 private:
  enum class State { kNone, kRegistering, kRegistered };

  void offerProfile();
  GVariant* serve(const std::string& method);
  void registerRecord();
  void registrationAnswered(const Bluez::Reply& reply);
  void unregisterRecord();
  void tryLater();

  Bluez& m_bluez;
  int m_wanted = 0;
  int m_channel = 0;  ///< of the record that is registered, or on its way
  State m_state = State::kNone;
  std::string m_problem;
  bool m_denied = false;
  unsigned m_generation = 0;  ///< BlueZ's, to which the state belongs
  unsigned m_attempts = 0;
  sigc::connection m_timer;
  BusObject m_profile;
  Bluez::Connection m_offeredOn;
};

/// The service record that makes other phones offer "share by Bluetooth" to this one: OBEX Object
/// Push on this RFCOMM channel, for vCards of both versions. In BlueZ's XML format.
std::string serviceRecord(int channel);

/// A UUID that nobody else has. BlueZ listens itself, and takes the channel away, for a profile
/// that is registered under a UUID that it knows.
std::string randomUuid();

}  // namespace host
