#pragma once

#include <glibmm.h>

#include <chrono>
#include <optional>
#include <string>

#include "dbus/Backoff.h"
#include "host/bluetooth/Bluez.h"

namespace host {

/// Sets one boolean property of an adapter. BlueZ refuses while it is busy with the adapter, for
/// example just after it started; such an attempt is repeated for ten seconds.
///
/// Threads: the main thread. `bluez` must outlive it.
class AdapterSwitch {
 public:
  /// `property` is BlueZ's name for the property, `fact` the member that holds its current value.
  AdapterSwitch(Bluez& bluez, const char* property, bool AdapterFacts::*fact);
  ~AdapterSwitch();
  AdapterSwitch(const AdapterSwitch&) = delete;
  AdapterSwitch& operator=(const AdapterSwitch&) = delete;

  /// Sets the property of the adapter at `path`. If that fails, `complaint` ("the adapter can't be
  /// switched on") is logged with the reason.
  void turn(const std::string& path, bool on, const std::string& complaint);
  /// Gives up on the last `turn`, and forgets its problem.
  void forget();
  /// Call after any change in BlueZ.
  void update();

  /// The complaint and the reason of the last `turn`, until the property has the wanted value all
  /// the same; empty if there is no problem.
  [[nodiscard]] const std::string& problem() const { return m_problem; }

 private:
  void attempt();
  void answered(const Bluez::Reply& reply);
  [[nodiscard]] bool isTurned() const;

  Bluez& m_bluez;
  const char* const m_property;
  bool AdapterFacts::*const m_fact;
  std::string m_path;  ///< of the adapter; empty if nothing is wanted
  bool m_on = false;
  std::string m_complaint;
  std::string m_problem;
  dbus::Backoff m_backoff{std::chrono::milliseconds(200), std::chrono::seconds(4)};
  unsigned m_retries = 0;
  unsigned m_attempt = 0;   ///< number of the current attempt; answers to earlier ones are ignored
  bool m_underWay = false;  ///< the current attempt has no answer yet
  sigc::connection m_timer;
};

/// Manages the adapter that receives cards. Switches it on when receiving begins, and when it
/// appears while receiving is on; makes it visible for as long as the user asked. An adapter that
/// the user switches off stays off.
///
/// Threads: the main thread. `bluez` must outlive it.
class AdapterManager {
 public:
  static constexpr int kForEver = -1;

  /// `wanted` names the adapter, see `BluezObjects::adapter`.
  AdapterManager(Bluez& bluez, std::string wanted);
  ~AdapterManager();
  AdapterManager(const AdapterManager&) = delete;
  AdapterManager& operator=(const AdapterManager&) = delete;

  void setReceiving(bool on);
  /// Makes the adapter visible for `seconds` from now, `kForEver`, or 0 to hide it.
  void makeVisible(int seconds);
  /// Call after any change in BlueZ.
  void update();

  /// Null if there is none.
  [[nodiscard]] const AdapterFacts* adapter() const;
  /// How long it is still to be visible: seconds, `kForEver`, or 0.
  [[nodiscard]] int secondsLeft() const;
  /// Why the adapter is off, or not visible although that was asked for; no full stop. Empty if no
  /// problem is known.
  [[nodiscard]] std::string problem() const;

 private:
  using Clock = std::chrono::steady_clock;

  void switchOn(const AdapterFacts& adapter);
  void show(const AdapterFacts& adapter);

  Bluez& m_bluez;
  const std::string m_wanted;
  AdapterSwitch m_power;
  AdapterSwitch m_visibility;
  bool m_receiving = false;
  std::string m_switchedOn;  ///< path of the adapter that was switched on, if necessary
  std::string m_shown;       ///< path of the adapter that was made visible
  bool m_visible = false;    ///< asked for
  std::optional<Clock::time_point> m_until;  ///< when `m_visible` ends; nullopt for never
  unsigned m_generation = 0;
  sigc::connection m_end;
};

}  // namespace host
