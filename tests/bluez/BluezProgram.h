#pragma once

#include <memory>
#include <string>

#include "tests/tools/Program.h"

namespace test {

/// The program that stands in for bluetoothd, started and told what to do by a test.
///
/// Threads: one at a time.
class BluezProgram {
 public:
  static constexpr const char* kAdapterPath = "/org/bluez/hci0";
  static constexpr const char* kAdapterAddress = "00:11:22:33:44:55";

  /// `bus` is the address of the bus that it is on.
  BluezProgram(const TestFolder& folder, std::string bus);
  ~BluezProgram();
  BluezProgram(const BluezProgram&) = delete;
  BluezProgram& operator=(const BluezProgram&) = delete;

  /// Starts it, with nothing in it.
  void start();
  /// Ends it as a crash would.
  void kill();

  /// One of the commands of `StandInBluez`; returns when it is done.
  void tell(const std::string& command);
  /// An adapter, which is on and can't be seen unless told otherwise.
  void addAdapter(const std::string& properties = "");
  void removeAdapter();
  void changeAdapter(const std::string& properties);
  /// A device that the adapter has met; `properties` such as "'Paired': <true>" are added.
  void addDevice(const std::string& address, const std::string& name,
                 const std::string& properties = "");
  void changeDevice(const std::string& address, const std::string& properties);
  /// Its object's path.
  static std::string devicePath(const std::string& address);

  /// What it has been asked since its start.
  [[nodiscard]] std::string asked() const;
  /// How often this stands in it.
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
