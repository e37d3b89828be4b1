#pragma once

#include <memory>
#include <string>

#include "tests/tools/Program.h"

namespace test {

/// A dbus-daemon on a socket in the test's folder. It ends with the object.
class PrivateBus {
 public:
  /// `policy` and `limits` are XML elements for the daemon's configuration.
  explicit PrivateBus(const TestFolder& folder, const std::string& policy = "",
                      const std::string& limits = "");

  [[nodiscard]] std::string address() const;

  /// Kills it with SIGKILL.
  void kill();
  /// Starts it again at the same address. Returns false on failure.
  bool start();

 private:
  const TestFolder& m_folder;
  const std::string m_configuration;
  std::unique_ptr<Program> m_daemon;
  int m_starts = 0;
};

}  // namespace test
