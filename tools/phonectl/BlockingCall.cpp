#include "tools/phonectl/BlockingCall.h"

#include <memory>

namespace phonectl {

Glib::VariantContainerBase BlockingCall::run(const PhoneCall& call) {
  return *runUnless(call, [](const PhoneStatus&) { return false; });
}

Glib::VariantContainerBase BlockingCall::runQuietly(const PhoneCall& call) {
  return *wait(call, false);
}

std::optional<Glib::VariantContainerBase> BlockingCall::runUnless(
    const PhoneCall& call, const BusyNotice::OnStatus& leave) {
  bool left = false;
  const BusyNotice notice(m_bus, [&](const PhoneStatus& status) {
    left = leave(status);
    return left;
  });
  return wait(call, left);
}

std::optional<Glib::VariantContainerBase> BlockingCall::wait(const PhoneCall& call,
                                                             const bool& left) {
  const Lifetime lifetime;
  std::optional<PhoneBus::Answer> answer;
  m_bus.call(call, lifetime.bind([&](const PhoneBus::Answer& given) { answer = given; }));
  while (!answer && !left) {
    throwIfLeft();
    Glib::MainContext::get_default()->iteration(true);
  }
  if (!answer) return std::nullopt;
  if (answer->failure) throw *answer->failure;
  return answer->body;
}

bool BlockingCall::waitUntil(const std::function<bool()>& condition, unsigned milliseconds) {
  bool over = false;
  sigc::connection timer = Glib::signal_timeout().connect(
      [&over] {
        over = true;
        return true;
      },
      milliseconds);
  const std::unique_ptr<sigc::connection, void (*)(sigc::connection*)> disconnect(
      &timer, [](sigc::connection* connection) { connection->disconnect(); });
  while (!condition() && !over) {
    throwIfLeft();
    if (m_bus.connection()->is_closed()) throw m_bus.busLost();
    Glib::MainContext::get_default()->iteration(true);
  }
  return condition();
}

void BlockingCall::throwIfLeft() const {
  if (m_signals.caught() == 0) return;
  throw Failure(kSignalled + m_signals.caught(),
                "left before the phone had answered. What was asked of it stays with it");
}

}  // namespace phonectl
