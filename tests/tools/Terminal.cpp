#include "tests/tools/Terminal.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

#include "tests/support/WaitFor.h"
#include "tests/tools/Program.h"

namespace test {

Terminal::Terminal() : m_master(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK)) {
  std::array<char, 128> name{};
  if (m_master < 0 || ::grantpt(m_master) != 0 || ::unlockpt(m_master) != 0 ||
      ::ptsname_r(m_master, name.data(), name.size()) != 0) {
    throw std::system_error(errno, std::generic_category(), "no terminal");
  }
  m_name = name.data();
}

Terminal::~Terminal() { ::close(m_master); }

void Terminal::type(const std::string& text) const {
  if (::write(m_master, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
    throw std::system_error(errno, std::generic_category(), "can't type");
  }
}

const std::string& Terminal::screen() {
  std::array<char, 4096> buffer{};
  ssize_t count = 0;
  while ((count = ::read(m_master, buffer.data(), buffer.size())) > 0) {
    m_screen.append(buffer.data(), static_cast<std::size_t>(count));
  }
  return m_screen;
}

bool Terminal::waitFor(const std::string& text, int count) {
  return test::waitFor([&] { return occurrences(screen(), text) >= count; });
}

}  // namespace test
