#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/bluetooth/Bluez.h"
#include "host/bluetooth/SdpQuery.h"
#include "tools/phonectl/BlockingCall.h"

namespace phonectl {

/// A blocking client of the local BlueZ, which runs the main loop while it waits.
///
/// Threads: the one that runs the default main loop. Throws Failure if the user interrupts it.
class BlockingBluez {
 public:
  /// Returns when BlueZ has answered or is known to be unavailable.
  explicit BlockingBluez(const StopSignals& signals);

  [[nodiscard]] bool ready() const { return m_bluez.ready(); }
  /// Whether it isn't ready because the bus's policy denies access.
  [[nodiscard]] bool denied() const { return m_bluez.denied(); }
  /// Why it isn't ready, without a full stop, safe to show.
  [[nodiscard]] std::string missing() const;
  [[nodiscard]] const host::BluezObjects& objects() const { return m_bluez.objects(); }

  /// Scans for devices. Returns an error message, safe to show, or "".
  std::string scan(const host::AdapterFacts& adapter, int seconds);

  /// The address of the device with this name, in any case. Devices choose their own names, so
  /// paired ones take precedence. Throws Failure if there is none, or several.
  [[nodiscard]] std::string addressOf(const std::string& name) const;

 private:
  std::string ask(const std::string& path, const char* method, GVariant* arguments);
  bool waitUntil(const std::function<bool()>& condition, unsigned milliseconds);

  const StopSignals& m_signals;
  bool m_answered = false;
  host::Bluez m_bluez;
};

/// `SdpQuery::ask` on a thread of its own while the main loop runs. Throws Failure if the user
/// interrupts it.
host::SdpQuery::Answer askServices(const StopSignals& signals, const std::string& address,
                                   const std::string& source);

}  // namespace phonectl
