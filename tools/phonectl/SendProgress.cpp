#include "tools/phonectl/SendProgress.h"

#include <unistd.h>

#include <iostream>
#include <utility>

namespace phonectl {

namespace {

constexpr unsigned kTickMilliseconds = 1000;
/// When it is long enough for a sentence.
constexpr unsigned kLongSeconds = 2;

constexpr const char* kFreshLine = "\r\x1b[K";

}  // namespace

SendProgress::SendProgress(PhoneBus& bus, std::string what)
    : m_bus(bus), m_what(std::move(what)), m_terminal(::isatty(STDERR_FILENO) == 1) {
  m_timer = Glib::signal_timeout().connect([this] { return tick(); }, kTickMilliseconds);
  if (m_terminal) show();
}

SendProgress::~SendProgress() {
  m_timer.disconnect();
  if (m_terminal) std::cerr << kFreshLine << std::flush;
}

bool SendProgress::tick() {
  m_seconds += 1;
  if (!m_asking) {
    m_asking = true;
    m_bus.call(PhoneStatus::question(),
               m_lifetime.bind([this](const PhoneBus::Answer& answer) { answered(answer); }));
  }
  return true;
}

void SendProgress::answered(const PhoneBus::Answer& answer) {
  m_asking = false;
  // That the phone is gone is told by the call that is waited for.
  if (answer.failure) return;
  const PhoneStatus status(answer.body);
  m_otherWork = status.sending() ? "" : status.busyWith();
  if (m_terminal || m_seconds == kLongSeconds) show();
}

void SendProgress::show() {
  const std::string text = m_otherWork.empty()
                               ? m_what + " for " + std::to_string(m_seconds) + " s"
                               : "the phone is busy (" + m_otherWork + "); waiting for it";
  if (m_terminal) {
    std::cerr << kFreshLine << text << std::flush;
  } else {
    std::cerr << "phonectl: " << text << ". Ctrl-C leaves." << std::endl;
  }
}

}  // namespace phonectl
