#include "tests/host/support/PrivateBus.h"

#include <csignal>
#include <filesystem>
#include <stdexcept>

namespace test {
namespace {

constexpr const char* kHead =
    "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN\"\n"
    " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
    "<busconfig><type>session</type><auth>EXTERNAL</auth>";

constexpr const char* kEverythingAllowed =
    "<policy context=\"default\"><allow send_destination=\"*\" eavesdrop=\"true\"/>"
    "<allow eavesdrop=\"true\"/><allow own=\"*\"/></policy>";

std::string configuration(const std::string& address, const std::string& policy,
                          const std::string& limits) {
  return std::string(kHead) + "<listen>" + address + "</listen>" +
         (policy.empty() ? kEverythingAllowed : policy) + limits + "</busconfig>\n";
}

}  // namespace

PrivateBus::PrivateBus(const TestFolder& folder, const std::string& policy,
                       const std::string& limits)
    : m_folder(folder),
      m_configuration(folder.write("bus.conf", configuration(address(), policy, limits))) {
  if (!start()) throw std::runtime_error("dbus-daemon does not start: " + m_daemon->err());
}

std::string PrivateBus::address() const { return "unix:path=" + m_folder.file("bus"); }

void PrivateBus::kill() {
  m_daemon->signal(SIGKILL);
  m_daemon->wait();
}

bool PrivateBus::start() {
  std::filesystem::remove(m_folder.file("bus"));
  m_daemon =
      std::make_unique<Program>(m_folder, "bus" + std::to_string(++m_starts),
                                Program::Words{"dbus-daemon", "--config-file=" + m_configuration,
                                               "--nofork", "--print-address"},
                                Program::Options{});
  return m_daemon->waitForOut("unix:path=");
}

}  // namespace test
