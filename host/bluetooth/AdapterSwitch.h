#pragma once

#include <glibmm.h>

#include <cstddef>
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

}  // namespace host
