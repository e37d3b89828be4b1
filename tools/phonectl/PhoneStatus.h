#pragma once

#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/app/StorageChecks.h"
#include "tools/phonectl/Parameters.h"
#include "tools/phonectl/PhoneBus.h"

namespace phonectl {

/// A snapshot of the phone's status. Strings are safe to print unless noted.
class PhoneStatus {
 public:
  /// The call that asks for it. The phone answers at once, even when it is busy.
  static PhoneCall question();

  explicit PhoneStatus(const Glib::VariantContainerBase& answer) : m_values(answer) {}

  [[nodiscard]] bool listening() const { return m_values.boolean("listening").value_or(false); }
  /// Why it can't listen although receiving is on; empty if it can or need not.
  [[nodiscard]] std::string listenError() const { return shown("listenError"); }
  /// The folder of the photos. Not safe to print.
  [[nodiscard]] std::string imagesFolder() const;
  /// Why the phone can't write there. Not safe to print.
  [[nodiscard]] host::Problem imagesProblem() const;
  /// What the radio lacks; empty if it works.
  [[nodiscard]] std::string missingRadio() const;
  /// Whether other devices can find the phone.
  [[nodiscard]] bool discoverable() const {
    return m_values.boolean("discoverable").value_or(false);
  }
  /// Why it isn't visible although it should be.
  [[nodiscard]] std::string visibleProblem() const { return shown("visibleProblem"); }
  /// Whether BlueZ has reported which devices are paired, trusted and blocked.
  [[nodiscard]] bool knowsPeers() const { return shown("bluez") == "ready"; }
  /// Whether the system bus's policy denies publishing the service record.
  [[nodiscard]] bool recordDenied() const {
    return m_values.boolean("recordDenied").value_or(false);
  }
  /// The string of that name; empty if missing.
  [[nodiscard]] std::string shown(const std::string& name) const;
  [[nodiscard]] int channel() const {
    return static_cast<int>(m_values.number("channel").value_or(0));
  }

  /// The current work and its duration: "sending a card for 12 s"; empty when idle.
  [[nodiscard]] std::string busyWith() const;

  [[nodiscard]] bool sending() const;
  /// Switching receiving on or off, which may be waiting for a radio.
  [[nodiscard]] bool switching() const;

  /// For people.
  [[nodiscard]] std::vector<std::string> lines() const;
  /// Everything the phone reported, under its own names.
  [[nodiscard]] nlohmann::ordered_json json() const;

 private:
  [[nodiscard]] std::string bluetoothLine() const;
  [[nodiscard]] std::string recordLine() const;
  [[nodiscard]] std::string policyLine() const;
  [[nodiscard]] std::string receivingLine() const;
  [[nodiscard]] std::string busyLine() const;

  Parameters m_values;
};

}  // namespace phonectl
