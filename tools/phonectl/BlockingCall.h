#pragma once

#include <functional>
#include <optional>

#include "tools/phonectl/BusyNotice.h"
#include "tools/phonectl/PhoneBus.h"
#include "tools/phonectl/StopSignals.h"

namespace phonectl {

/// Waiting, for commands that do one thing after the other: runs the main loop until the answer to
/// a call is there, tells the user when that takes long, and leaves when the user wants to.
///
/// Threads: the one that runs the default main loop. Not to be used from a callback of it.
class BlockingCall {
 public:
  BlockingCall(PhoneBus& bus, const StopSignals& signals) : m_bus(bus), m_signals(signals) {}

  /// Returns the answer's body. Throws Failure, also when the user leaves.
  Glib::VariantContainerBase run(const PhoneCall& call);
  /// The same, but gives up waiting, with nothing to return, once `leave` says so of a status. The
  /// call stays with the phone.
  std::optional<Glib::VariantContainerBase> runUnless(const PhoneCall& call,
                                                      const BusyNotice::OnStatus& leave);
  /// The same as `run`, for a caller that tells itself when it takes long.
  Glib::VariantContainerBase runQuietly(const PhoneCall& call);
  /// Runs the main loop until the condition holds or the time is over; returns whether it holds.
  /// The condition is looked at whenever something happened. Throws Failure when the user leaves or
  /// the bus is lost.
  bool waitUntil(const std::function<bool()>& condition, unsigned milliseconds);

 private:
  std::optional<Glib::VariantContainerBase> wait(const PhoneCall& call, const bool& left);
  void throwIfLeft() const;

  PhoneBus& m_bus;
  const StopSignals& m_signals;
};

}  // namespace phonectl
