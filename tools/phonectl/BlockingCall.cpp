#include "tools/phonectl/BlockingCall.h"

#include <glib-unix.h>

#include <iostream>
#include <utility>

namespace phonectl {

namespace {

constexpr unsigned kBusyNoticeMilliseconds = 2000;

struct ScopedTimer {
  ~ScopedTimer() { connection.disconnect(); }
  sigc::connection connection;
};

}  // namespace

StopSignals::StopSignals() : m_sources{{this, SIGINT, 0}, {this, SIGTERM, 0}, {this, SIGHUP, 0}} {
  for (Source& source : m_sources) source.id = g_unix_signal_add(source.signal, onSignal, &source);
}

StopSignals::~StopSignals() {
  for (const Source& source : m_sources) {
    if (source.id != 0) g_source_remove(source.id);
  }
}

int StopSignals::onSignal(void* data) {
  auto* const source = static_cast<Source*>(data);
  if (source->owner->m_caught == 0) source->owner->m_caught = source->signal;
  source->id = 0;
  return G_SOURCE_REMOVE;
}

bool runUntil(const StopSignals& signals, const std::function<bool()>& condition,
              unsigned milliseconds) {
  // Other threads don't wake up the main loop.
  constexpr unsigned kPollMilliseconds = 20;
  const gint64 deadline = g_get_monotonic_time() + gint64{milliseconds} * 1000;
  const ScopedTimer poll{Glib::signal_timeout().connect([] { return true; }, kPollMilliseconds)};
  while (!condition() && signals.caught() == 0 && g_get_monotonic_time() < deadline) {
    Glib::MainContext::get_default()->iteration(true);
  }
  return condition();
}

void throwIfLeft(const StopSignals& signals) {
  if (signals.caught() != 0) throw Failure(kSignalled + signals.caught(), "interrupted");
}

BusyNotice::BusyNotice(PhoneBus& bus, OnStatus onStatus)
    : m_bus(bus), m_onStatus(std::move(onStatus)) {
  m_timer = Glib::signal_timeout().connect([this] { return ask(); }, kBusyNoticeMilliseconds);
}

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
  // A phone that is gone fails the pending call as well, which reports it.
  if (m_done || answer.failure) return;
  const PhoneStatus status(answer.body);
  m_done = m_onStatus && m_onStatus(status);
  const std::string work = status.busyWith();
  if (m_done || m_told || work.empty()) return;
  m_told = true;
  std::cerr << "phonectl: the phone is busy (" << work << "); waiting. Press Ctrl-C to leave."
            << std::endl;
}

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
    throwIfStopped();
    Glib::MainContext::get_default()->iteration(true);
  }
  if (!answer) return std::nullopt;
  if (answer->failure) throw *answer->failure;
  return answer->body;
}

bool BlockingCall::waitUntil(const std::function<bool()>& condition, unsigned milliseconds) {
  const auto lost = [this] { return m_bus.connection()->is_closed(); };
  runUntil(
      m_signals, [&] { return condition() || lost(); }, milliseconds);
  if (condition()) return true;
  throwIfStopped();
  if (lost()) throw m_bus.busLost();
  return false;
}

void BlockingCall::throwIfStopped() const {
  if (m_signals.caught() == 0) return;
  throw Failure(kSignalled + m_signals.caught(),
                "interrupted before the phone answered; the phone still carries out the request");
}

}  // namespace phonectl
