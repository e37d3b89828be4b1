#include "tests/bluez/BluezProgram.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <utility>

namespace test {

BluezProgram::BluezProgram(const TestFolder& folder, std::string bus)
    : m_folder(folder), m_bus(std::move(bus)) {}

BluezProgram::~BluezProgram() {
  if (m_commands >= 0) ::close(m_commands);
}

void BluezProgram::start() {
  const std::string name = "bluez" + std::to_string(++m_starts);
  const std::string pipe = m_folder.file(name + ".commands");
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  if (m_commands >= 0) ::close(m_commands);
  m_commands = ::open(pipe.c_str(), O_RDWR | O_CLOEXEC);
  m_told = 0;
  m_program = std::make_unique<Program>(
      m_folder, name,
      Program::Words{"sh", "-c", "exec \"$0\" \"$1\" <\"$2\"", STANDIN_BLUEZ, m_bus, pipe},
      Program::Options{});
  ASSERT_TRUE(m_program->waitForOut("standin-bluez: ready")) << m_program->out();
}

void BluezProgram::kill() {
  m_program->signal(SIGKILL);
  m_program->wait();
}

void BluezProgram::tell(const std::string& command) {
  const std::string line = command + "\n";
  ASSERT_EQ(::write(m_commands, line.data(), line.size()), static_cast<ssize_t>(line.size()));
  ASSERT_TRUE(m_program->waitForOut("done ", ++m_told)) << m_program->out() << m_program->err();
}

void BluezProgram::addAdapter(const std::string& properties) {
  tell(std::string("add ") + kAdapterPath + " org.bluez.Adapter1 {'Address': <'" + kAdapterAddress +
       "'>, 'Alias': <'phone'>, 'DiscoverableTimeout': <uint32 180>, 'UUIDs': <@as []>" +
       (properties.empty() ? ", 'Powered': <true>, 'Discoverable': <false>" : ", " + properties) +
       "}");
}

void BluezProgram::removeAdapter() {
  tell(std::string("remove ") + kAdapterPath + " org.bluez.Adapter1");
}

void BluezProgram::changeAdapter(const std::string& properties) {
  tell(std::string("change ") + kAdapterPath + " org.bluez.Adapter1 {" + properties + "}");
}

std::string BluezProgram::devicePath(const std::string& address) {
  std::string name = address;
  std::replace(name.begin(), name.end(), ':', '_');
  return std::string(kAdapterPath) + "/dev_" + name;
}

void BluezProgram::addDevice(const std::string& address, const std::string& name,
                             const std::string& properties) {
  tell("add " + devicePath(address) + " org.bluez.Device1 {'Address': <'" + address +
       "'>, 'Alias': <'" + name + "'>, 'Paired': <false>, 'Trusted': <false>, 'Blocked': <false>" +
       "}");
  if (!properties.empty()) changeDevice(address, properties);
}

void BluezProgram::changeDevice(const std::string& address, const std::string& properties) {
  tell("change " + devicePath(address) + " org.bluez.Device1 {" + properties + "}");
}

std::string BluezProgram::asked() const { return m_program->out(); }

}  // namespace test
