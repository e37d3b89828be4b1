#pragma once

#include <memory>
#include <string>

#include "tests/tools/Program.h"

namespace test {

/// Runs the stand-in for bluetoothd. Not thread-safe.
class BluezProgram {
 public:
  static constexpr const char* kAdapterPath = "/org/bluez/hci0";
  static constexpr const char* kAdapterAddress = "00:11:22:33:44:55";

  /// `bus` is a D-Bus address.
  BluezProgram(const TestFolder& folder, std::string bus);
  ~BluezProgram();
  BluezProgram(const BluezProgram&) = delete;
  BluezProgram& operator=(const BluezProgram&) = delete;

  /// Starts it without objects.
  void start();
  /// Kills it with SIGKILL.
  void kill();

  /// Sends a command of `StandInBluez` and waits until it is done.
  void tell(const std::string& command);
  /// Adds an adapter; by default it is powered and not discoverable.
  void addAdapter(const std::string& properties = "");
  void removeAdapter();
  void changeAdapter(const std::string& properties);
  /// Adds a device; `properties` such as "'Paired': <true>" override the defaults, all false.
  void addDevice(const std::string& address, const std::string& name,
                 const std::string& properties = "");
  void changeDevice(const std::string& address, const std::string& properties);
  /// The object path of a device.
  static std::string devicePath(const std::string& address);

  /// Everything that it has printed since its start.
  [[nodiscard]] std::string asked() const;
  /// How often `text` occurs in it.
  [[nodiscard]] int times(const std::string& text) const { return occurrences(asked(), text); }

 private:
  const TestFolder& m_folder;
  const std::string m_bus;
  std::unique_ptr<Program> m_program;
  int m_commands = -1;
  int m_starts = 0;
  int m_told = 0;
};

}  // namespace test
