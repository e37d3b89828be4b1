#include "tools/phonectl/BusyNotice.h"

#include <iostream>
#include <utility>

namespace phonectl {

BusyNotice::BusyNotice(PhoneBus& bus, OnStatus onStatus)
    : m_bus(bus), m_onStatus(std::move(onStatus)) {
  m_timer = Glib::signal_timeout().connect([this] { return ask(); }, kPatienceMilliseconds);
}

BusyNotice::~BusyNotice() { m_timer.disconnect(); }

bool BusyNotice::ask() {
  if (m_done) return false;
  if (!m_asking) {
    m_asking = true;
    m_bus.call(PhoneStatus::question(),
               m_lifetime.bind([this](const PhoneBus::Answer& answer) { answered(answer); }));
  }
  return true;
}

void BusyNotice::answered(const PhoneBus::Answer& answer) {
  m_asking = false;
  // That the phone is gone or too old to know is told by the call that is waited for.
  if (m_done || answer.failure) return;
  const PhoneStatus status(answer.body);
  m_done = m_onStatus && m_onStatus(status);
  if (!m_done) tell(status);
}

void BusyNotice::tell(const PhoneStatus& status) {
  const std::string what = status.busyWith();
  if (m_told || what.empty()) return;
  m_told = true;
  std::cerr << "phonectl: the phone is busy (" << what << "); waiting for it. Ctrl-C leaves."
            << std::endl;
}

}  // namespace phonectl
