#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/bluetooth/Bluez.h"
#include "host/bluetooth/SdpQuery.h"
#include "tools/phonectl/BlockingCall.h"

namespace phonectl {

/// BlueZ on this machine, for commands that do one thing after the other, and the devices that it
/// knows.
///
/// Threads: the one that runs the default main loop. Throws Failure when the user leaves.
class BlockingBluez {
 public:
  /// Returns when it has answered, or it is clear that it won't.
  explicit BlockingBluez(const StopSignals& signals);

  [[nodiscard]] bool ready() const { return m_bluez.ready(); }
  /// Whether it isn't, because the bus's policy keeps this program from it.
  [[nodiscard]] bool denied() const { return m_bluez.denied(); }
  /// What is missing, a sentence without an end, safe to show.
  [[nodiscard]] std::string missing() const;
  [[nodiscard]] const host::BluezObjects& objects() const { return m_bluez.objects(); }

  /// Looks for devices in reach, for so many seconds. Returns why that can't be done, safe to show;
  /// empty when it was.
  std::string scan(const host::AdapterFacts& adapter, int seconds);

  /// The address of the device that a user means by this name; throws Failure when there is none or
  /// several. What devices call themselves they say themselves: one that is paired goes before.
  [[nodiscard]] std::string addressOf(const std::string& name) const;

 private:
  std::string ask(const std::string& path, const char* method, GVariant* arguments);
  bool waitUntil(const std::function<bool()>& condition, unsigned milliseconds);

  const StopSignals& m_signals;
  bool m_told = false;  ///< it has said something of itself
  host::Bluez m_bluez;
};

/// Asks a device for its Object Push services, see `SdpQuery::ask`, on a thread of its own while
/// the main loop runs. Throws Failure when the user leaves.
host::SdpQuery::Answer askServices(const StopSignals& signals, const std::string& address,
                                   const std::string& source);

}  // namespace phonectl
