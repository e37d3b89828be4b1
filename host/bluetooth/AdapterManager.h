#pragma once

#include <glibmm.h>

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

#include "host/bluetooth/Bluez.h"

namespace host {

/// One of an adapter's switches. BlueZ doesn't let it be turned while something else is just being
/// done to the adapter, as for a moment after BlueZ's own start, when it switches adapters on by
/// itself: then it is tried again, ever more seldom, for ten seconds.
///
/// Threads: the main thread. `bluez` must outlive it.
class AdapterSwitch {
 public:
  /// BlueZ's name of it, and where it is told how it stands.
  AdapterSwitch(Bluez& bluez, const char* property, bool AdapterFacts::*fact);
  ~AdapterSwitch();
  AdapterSwitch(const AdapterSwitch&) = delete;
  AdapterSwitch& operator=(const AdapterSwitch&) = delete;

  /// Turns it at the adapter of that path. `complaint` is what is said, once, should that be
  /// impossible: "the adapter can't be switched on".
  void turn(const std::string& path, bool on, const std::string& complaint);
  /// Whatever was wanted of it isn't wanted any more.
  void forget();
  /// To be called when anything about BlueZ has changed.
  void update();

  /// Why it couldn't be turned, the complaint and the reason, until it is turned all the same by
  /// whomever; empty when nothing is known to be wrong.
  [[nodiscard]] const std::string& problem() const { return m_problem; }

 private:
  void attempt();
  void answered(const Bluez::Reply& reply);
  [[nodiscard]] bool isTurned() const;

  Bluez& m_bluez;
  const char* const m_property;
  bool AdapterFacts::*const m_fact;
  std::string m_path;  ///< of the adapter; empty when nothing is wanted
  bool m_on = false;
  std::string m_complaint;
  std::string m_problem;
  std::size_t m_pauses = 0;  ///< made so far
  unsigned m_attempt = 0;    ///< its number: answers to earlier ones are of no interest
  bool m_underWay = false;   ///< it is not answered yet
  sigc::connection m_timer;
};

/// Looks after the adapter that cards come in by: switches it on when receiving begins and when it
/// comes while receiving is on, and makes it visible, for which it must be on, for as long as the
/// user asked. What the user does with the adapter afterwards stands: one that was switched off is
/// not switched on again.
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

  /// Receiving was switched on, or off.
  void receive(bool on);
  /// Other phones shall find this one for so many seconds from now, `kForEver`, or 0 for no longer.
  void makeVisible(int seconds);
  /// To be called when anything about BlueZ has changed.
  void update();

  /// Null when there is none.
  [[nodiscard]] const AdapterFacts* adapter() const;
  /// What is asked for and left: seconds, `kForEver`, or 0.
  [[nodiscard]] int secondsLeft() const;
  /// Why the adapter is off, or not visible although it was asked for: a sentence without an end.
  /// Empty when nothing is known to be wrong.
  [[nodiscard]] std::string problem() const;

 private:
  using Clock = std::chrono::steady_clock;

  void switchOn(const AdapterFacts& adapter);
  void showAdapter(const AdapterFacts& adapter);

  Bluez& m_bluez;
  const std::string m_wanted;
  AdapterSwitch m_power;
  AdapterSwitch m_visibility;
  bool m_receiving = false;
  std::string m_caredFor;  ///< path of the adapter that was switched on, if it had to be
  std::string m_shown;     ///< path of the adapter that was made visible
  bool m_visible = false;  ///< asked for
  std::optional<Clock::time_point> m_until;  ///< none for ever
  unsigned m_generation = 0;
  sigc::connection m_end;
};

}  // namespace host
