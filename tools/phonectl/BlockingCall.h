#pragma once

#include <csignal>
#include <functional>
#include <optional>

#include "tools/phonectl/PhoneBus.h"
#include "tools/phonectl/PhoneStatus.h"

namespace phonectl {

// Waiting for the phone. Threads: the one that runs the default main loop.

/// Catches SIGINT, SIGTERM and SIGHUP during its lifetime and wakes up the main loop, so that a
/// command can report what it leaves unfinished. A second signal of the same kind kills the
/// program. At most one object at a time.
class StopSignals {
 public:
  StopSignals();
  ~StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

  /// The first signal received, or 0.
  [[nodiscard]] int caught() const { return m_caught; }

 private:
  struct Source {
    StopSignals* owner;
    int signal;
    unsigned id;
  };

  static int onSignal(void* source);

  int m_caught = 0;
  Source m_sources[3];
};

/// Runs the main loop until the condition holds, the timeout expires or a stop signal arrives.
/// Polls the condition, so other threads may change it. Returns whether it holds.
bool runUntil(const StopSignals& signals, const std::function<bool()>& condition,
              unsigned milliseconds);

/// Throws Failure if a stop signal has arrived.
void throwIfLeft(const StopSignals& signals);

/// Tells the user on standard error what the phone is busy with if a call takes longer than two
/// seconds. Lives as long as the call.
class BusyNotice {
 public:
  /// Sees each status before the user is told anything; returning true ends the notice. Must not
  /// throw.
  using OnStatus = std::function<bool(const PhoneStatus&)>;

  explicit BusyNotice(PhoneBus& bus, OnStatus onStatus = {});
  ~BusyNotice() { m_timer.disconnect(); }
  BusyNotice(const BusyNotice&) = delete;
  BusyNotice& operator=(const BusyNotice&) = delete;

 private:
  bool ask();
  void answered(const PhoneBus::Answer& answer);

  PhoneBus& m_bus;
  const OnStatus m_onStatus;
  sigc::connection m_timer;
  bool m_asking = false;
  bool m_done = false;
  bool m_told = false;
  Lifetime m_lifetime;
};

/// Synchronous calls: each runs the main loop until the reply arrives. Not for use in callbacks of
/// the main loop. All functions throw Failure, also when a stop signal arrives.
class BlockingCall {
 public:
  BlockingCall(PhoneBus& bus, const StopSignals& signals) : m_bus(bus), m_signals(signals) {}

  /// Returns the reply's body; shows a BusyNotice meanwhile.
  Glib::VariantContainerBase run(const PhoneCall& call);
  /// Like run(), but returns nothing as soon as `leave` returns true for a status. The phone still
  /// carries out the call.
  std::optional<Glib::VariantContainerBase> runUnless(const PhoneCall& call,
                                                      const BusyNotice::OnStatus& leave);
  /// Like run(), without a BusyNotice.
  Glib::VariantContainerBase runQuietly(const PhoneCall& call);
  /// Runs the main loop until the condition holds or the timeout expires; returns whether it holds.
  bool waitUntil(const std::function<bool()>& condition, unsigned milliseconds);

 private:
  std::optional<Glib::VariantContainerBase> wait(const PhoneCall& call, const bool& left);
  void throwIfStopped() const;

  PhoneBus& m_bus;
  const StopSignals& m_signals;
};

}  // namespace phonectl
