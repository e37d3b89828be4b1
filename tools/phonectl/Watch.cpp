#include "tools/phonectl/Watch.h"

#include <algorithm>
#include <iostream>

#include "tools/phonectl/StopSignals.h"

namespace phonectl {

namespace {

void note(const std::string& sentence) { std::cerr << "phonectl: " << sentence << std::endl; }

}  // namespace

Watch::Watch(PhoneBus& bus, WatchView& view, Mode mode)
    : m_bus(bus), m_view(view), m_mode(mode), m_observer(bus, *this) {
  if (mode == Mode::Ask) {
    m_prompt.emplace([this](Prompt::Answer answer) { answered(answer); });
  }
}

Watch::~Watch() {
  if (m_nameWatch != 0) Gio::DBus::unwatch_name(m_nameWatch);
}

int Watch::run() {
  const StopSignals signals;
  m_nameWatch = Gio::DBus::watch_name(
      m_bus.connection(), kPhoneName,
      [this](const auto&, const Glib::ustring&, const Glib::ustring& owner) { appeared(owner); },
      [this](const auto&, const Glib::ustring&) { vanished(); });
  while (!m_failure && signals.caught() == 0) {
    Glib::MainContext::get_default()->iteration(true);
  }
  if (m_failure) throw *m_failure;
  if (m_prompt) m_prompt->takeBack();
  return kDone;
}

// The phone on the bus

void Watch::appeared(const std::string& owner) {
  guarded([&] {
    m_seen = true;
    m_visit = std::make_unique<Lifetime>();
    m_notice = std::make_unique<BusyNotice>(m_bus);
    m_observer.listenTo(owner);
    askStatus();
  });
}

void Watch::vanished() {
  guarded([&] {
    if (m_bus.connection()->is_closed()) throw m_bus.busLost();
    if (!m_seen) throw m_bus.notRunning();
    m_observer.listenTo("");
    m_visit.reset();
    m_notice.reset();
    const long long waiting = m_waiting;
    m_waiting = 0;
    m_announced = m_answering = m_postponed = false;
    if (m_prompt) m_prompt->takeBack();
    m_view.phoneGone(waiting);
  });
}

void Watch::askStatus() {
  send(PhoneStatus::question(), [this](const Glib::VariantContainerBase& answer) {
    m_imagesFolder = PhoneStatus(answer).imagesFolder();
    subscribe();
  });
}

void Watch::subscribe() {
  send(PhoneObserver::subscription(), [this](const Glib::VariantContainerBase& answer) {
    m_notice.reset();
    PhoneObserver::checkSubscription(answer);
    announce();
  });
}

// The first event may be here before the answer to the subscription.
void Watch::announce() {
  if (m_announced) return;
  m_announced = true;
  m_view.watching(m_imagesFolder);
}

// What the phone tells

void Watch::cardOffered(const std::string& message) {
  m_waiting += 1;
  m_postponed = false;
  show([&] { m_view.cardOffered(message, m_waiting); });
}

void Watch::cardsStored(const std::string& firstMessage, long long count) {
  batchEnded(true, firstMessage, count);
}

void Watch::cardsNotStored(const std::string& firstMessage, long long count) {
  batchEnded(false, firstMessage, count);
}

void Watch::batchEnded(bool stored, const std::string& firstMessage, long long count) {
  m_waiting = 0;
  m_outcomeSeen = true;
  show([&] { m_view.outcome(Outcome(stored, count, firstMessage)); });
}

void Watch::cardUnreadable() {
  show([&] { m_view.cardUnreadable(); });
}

void Watch::destinationWanted(const std::string& contact) {
  show([&] { m_view.destinationWanted(contact); });
}

void Watch::contactSent(const std::string& contact) {
  show([&] { m_view.contactSent(contact); });
}

void Watch::contactNotSent(const std::string& contact, const std::string& address) {
  show([&] { m_view.contactNotSent(contact, address); });
}

// What the user says

void Watch::decide() {
  if (m_waiting == 0 || m_answering) return;
  if (m_mode == Mode::Accept) send(true);
  if (m_mode == Mode::Reject) send(false);
  if (m_mode == Mode::Ask && !m_postponed) m_prompt->ask(m_waiting);
}

void Watch::answered(Prompt::Answer answer) {
  guarded([&] {
    m_prompt->takeBack();
    m_postponed = answer != Prompt::Answer::Unclear;
    switch (answer) {
      case Prompt::Answer::Yes:
        return send(true);
      case Prompt::Answer::No:
        return send(false);
      case Prompt::Answer::Later:
        return note("the next card asks again; phonectl accept and phonectl reject answer as well");
      case Prompt::Answer::Unclear:
        return m_prompt->askAgain();
      case Prompt::Answer::Ended:
        return note(
            "there are no more answers on standard input; use phonectl accept or "
            "phonectl reject");
    }
  });
}

void Watch::send(bool accept) {
  m_answering = true;
  m_outcomeSeen = false;
  m_waitingWhenAnswered = m_waiting;
  m_notice = std::make_unique<BusyNotice>(m_bus);
  const char* const member = accept ? "vCardsAcceptedEvent" : "vCardsRejectedEvent";
  send({kService, member, Parameters().body()},
       [this, accept](const Glib::VariantContainerBase&) { answerTaken(accept); });
}

void Watch::answerTaken(bool accept) {
  m_notice.reset();
  m_answering = false;
  if (accept) {
    // What came in since the outcome waits; without one, nothing is known to wait.
    if (!m_outcomeSeen) m_waiting = 0;
  } else {
    // A card that came meanwhile may be gone as well or still wait: an answer to it does no harm.
    m_waiting = std::max(0LL, m_waiting - m_waitingWhenAnswered);
    m_view.rejected(m_waitingWhenAnswered);
  }
  if (m_waiting > 0) m_postponed = false;
  decide();
}

// The machinery

void Watch::send(const PhoneCall& call,
                 const std::function<void(const Glib::VariantContainerBase&)>& then) {
  m_bus.call(call, m_visit->bind([this, then](const PhoneBus::Answer& answer) {
    guarded([&] {
      if (answer.failure) {
        failCall(*answer.failure);
      } else {
        then(answer.body);
      }
    });
  }));
}

// That the phone has gone is told when its name vanishes. Without a subscription there is nothing
// to watch; a refused answer can be given again.
void Watch::failCall(const Failure& failure) {
  m_notice.reset();
  const bool gone = failure.exitCode() == kNotRunning || failure.exitCode() == kLost;
  if (gone && !m_bus.connection()->is_closed()) return;
  if (!m_answering) throw failure;
  m_answering = false;
  note(failure.what());
}

template <typename Show>
void Watch::show(const Show& show) {
  guarded([&] {
    if (m_prompt) m_prompt->takeBack();
    announce();
    show();
    decide();
  });
}

/// Nothing may be thrown through the main loop: it ends the watch instead.
template <typename Work>
void Watch::guarded(const Work& work) {
  try {
    if (!m_failure) work();
  } catch (const Failure& failure) {
    m_failure = failure;
  } catch (const std::exception& error) {
    m_failure = Failure(kFailed, error.what());
  }
}

}  // namespace phonectl
