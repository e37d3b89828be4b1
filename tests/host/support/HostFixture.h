#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "tests/host/support/BusClient.h"
#include "tests/host/support/PrivateBus.h"
#include "tests/tools/Program.h"

namespace test {

/// Runs phone-host on a private bus, with the real service or with FakeService.
class HostFixture : public testing::Test {
 protected:
  explicit HostFixture(const std::string& service = "OBEXService") : m_service(service) {}

  /// Stops the host and checks its exit code.
  void TearDown() override;

  /// Starts the bus. Without this, the first host does.
  void startBus(const std::string& policy = "", const std::string& limits = "");
  /// Starts the host and waits until it is ready.
  void startHost(const Program::Words& options = {});
  /// Starts a host without waiting.
  std::unique_ptr<Program> launchHost(const Program::Words& options = {});
  /// The same from a shell that runs a command first, e.g. "exec 0<&-".
  std::unique_ptr<Program> launchHostAfter(const std::string& shell);
  /// Stops the host with SIGTERM and checks its exit code.
  void stopHost(int expectedCode = 0);

  /// Runs busctl on the private bus.
  Finished busctl(const Program::Words& words);

  [[nodiscard]] const TestFolder& folder() const { return m_folder; }
  PrivateBus& bus() { return *m_bus; }
  Program& host() { return *m_host; }
  [[nodiscard]] std::string phonebook() const;
  /// The client that `startHost` created.
  BusClient& client() { return *m_client; }
  std::unique_ptr<BusClient> newClient();

  /// Makes FakeService block until `release`. Returns the call's serial number.
  std::uint32_t block();
  void release();

 private:
  Program::Words hostWords(const Program::Words& options);

  const std::string m_service;
  TestFolder m_folder;
  std::unique_ptr<PrivateBus> m_bus;
  std::unique_ptr<Program> m_host;
  std::unique_ptr<BusClient> m_client;
  int m_starts = 0;
};

}  // namespace test
