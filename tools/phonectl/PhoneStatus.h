#pragma once

#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/app/StorageChecks.h"
#include "tools/phonectl/Parameters.h"
#include "tools/phonectl/PhoneBus.h"

namespace phonectl {

/// How the phone is, at the moment when it was asked. A plain value.
class PhoneStatus {
 public:
  /// The question. The phone answers it at once, however busy it is.
  static PhoneCall question();

  explicit PhoneStatus(const Glib::VariantContainerBase& answer) : m_values(answer) {}

  [[nodiscard]] bool listening() const { return m_values.boolean("listening").value_or(false); }
  /// Why it can't listen although receiving is on, safe to show; empty if it can or need not.
  [[nodiscard]] std::string listenError() const { return shown("listenError"); }
  /// Where the phone keeps photos.
  [[nodiscard]] std::string imagesFolder() const;
  /// Why it can't write there, not safe to show.
  [[nodiscard]] host::Problem imagesProblem() const;
  /// What is missing for the radio to work, a sentence that is safe to show; empty when nothing is.
  [[nodiscard]] std::string missingRadio() const;
  /// Whether other phones can find this one; if it was asked to be visible and isn't, why, a
  /// sentence that is safe to show.
  [[nodiscard]] bool discoverable() const {
    return m_values.boolean("discoverable").value_or(false);
  }
  [[nodiscard]] std::string visibleProblem() const { return shown("visibleProblem"); }
  /// Whether it has heard of BlueZ who is paired, trusted and blocked.
  [[nodiscard]] bool knowsPeers() const { return shown("bluez") == "ready"; }
  /// Whether the policy of the system bus keeps it from publishing its service record.
  [[nodiscard]] bool recordDenied() const {
    return m_values.boolean("recordDenied").value_or(false);
  }
  /// A text of that name, safe to show; empty when there is none.
  [[nodiscard]] std::string shown(const std::string& name) const;
  [[nodiscard]] int channel() const {
    return static_cast<int>(m_values.number("channel").value_or(0));
  }

  /// What the phone is busy with and since when: "sending a card for 12 s"; empty when it is idle.
  [[nodiscard]] std::string busyWith() const;

  /// Whether it is busy with sending a card.
  [[nodiscard]] bool sending() const;
  /// Whether it is busy with switching receiving, which waits for a radio.
  [[nodiscard]] bool switching() const;

  /// Lines for people, safe to show.
  [[nodiscard]] std::vector<std::string> lines() const;
  /// Everything that the phone told, under the names that it gave.
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
