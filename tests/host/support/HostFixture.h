#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "tests/host/support/BusClient.h"
#include "tests/host/support/PrivateBus.h"
#include "tests/tools/Program.h"

namespace test {

/// phone-host with the echo service, as its users run it, on a bus of the test's own.
class HostFixture : public testing::Test {
 protected:
  /// Stops the host, which must end well.
  void TearDown() override;

  /// Starts the bus; otherwise that happens with the first host.
  void startBus(const std::string& policy = "", const std::string& limits = "");
  /// Starts it and waits until it is ready.
  void startHost(const Program::Words& options = {});
  /// Starts it with the usual options and doesn't wait.
  std::unique_ptr<Program> launchHost(const Program::Words& options = {});
  /// The same through a shell, which does something first: "exec 0<&-".
  std::unique_ptr<Program> launchHostAfter(const std::string& shell);
  /// Asks it to stop and checks that it does, with this code.
  void stopHost(int expectedCode = 0);

  /// Runs busctl on the test's bus.
  Finished busctl(const Program::Words& words);

  [[nodiscard]] const TestFolder& folder() const { return m_folder; }
  PrivateBus& bus() { return *m_bus; }
  Program& host() { return *m_host; }
  [[nodiscard]] std::string phonebook() const;
  /// A client that lives as long as the test.
  BusClient& client() { return *m_client; }
  std::unique_ptr<BusClient> newClient();

  /// Keeps the framework thread at one message until `release`.
  std::uint32_t block(const std::string& member = "waitEvent");
  void release();

 private:
  Program::Words hostWords(const Program::Words& options);

  TestFolder m_folder;
  std::unique_ptr<PrivateBus> m_bus;
  std::unique_ptr<Program> m_host;
  std::unique_ptr<BusClient> m_client;
  int m_starts = 0;
};

}  // namespace test
