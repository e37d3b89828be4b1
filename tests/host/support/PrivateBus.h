#pragma once

#include <memory>
#include <string>

#include "tests/tools/Program.h"

namespace test {

/// A bus of the test's own: dbus-daemon on a socket in the test's folder. It ends with the object.
class PrivateBus {
 public:
  /// `policy` and `limits` are elements of the daemon's configuration.
  explicit PrivateBus(const TestFolder& folder, const std::string& policy = "",
                      const std::string& limits = "");

  [[nodiscard]] std::string address() const;

  /// Ends it as a crash would.
  void kill();
  /// Starts one at the same address; false when that fails.
  bool start();

 private:
  const TestFolder& m_folder;
  const std::string m_configuration;
  std::unique_ptr<Program> m_daemon;
  int m_starts = 0;
};

}  // namespace test
