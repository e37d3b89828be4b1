#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include "tools/phonectl/BlockingCall.h"
#include "tools/phonectl/Commands.h"
#include "tools/phonectl/PhoneObserver.h"
#include "tools/phonectl/Prompt.h"
#include "tools/phonectl/WatchView.h"

namespace phonectl {

namespace {

struct Options {
  bool accept = false;
  bool reject = false;
  bool ask = false;
};

void note(const std::string& sentence) { std::cerr << "phonectl: " << sentence << std::endl; }

/// Stays subscribed to the phone, shows its notifications and answers for the user. Subscribes
/// again when the phone restarts.
///
/// The number of waiting cards is counted from the notifications: the phone announces each card
/// once, and every acceptance by anyone, but no rejection by others.
///
/// Threads: the one that runs the default main loop.
class Watch : private PhoneEvents {
 public:
  enum class Mode { kShow, kAccept, kReject, kAsk };

  Watch(PhoneBus& bus, WatchView& view, Mode mode);
  ~Watch() override;
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

  /// Returns when the user ends it; throws Failure if it can't go on.
  void run();

 private:
  void appeared(const std::string& owner);
  void vanished();
  void askStatus();
  void subscribe();
  void announce();

  void cardOffered(const std::string& message) override;
  void cardsAccepted(const Outcome& outcome) override;
  void cardUnreadable() override;
  void destinationWanted(const std::string& contact) override;
  void contactSent(const std::string& contact) override;
  void contactNotSent(const std::string& contact, const std::string& address) override;

  void decide();
  void answered(Prompt::Answer answer);
  void send(bool accept);
  void answerTaken(bool accept);

  void send(const PhoneCall& call,
            const std::function<void(const Glib::VariantContainerBase&)>& then);
  template <typename Show>
  void show(const Show& show);
  template <typename Work>
  void guarded(const Work& work);
  void failCall(const Failure& failure);

  PhoneBus& m_bus;
  WatchView& m_view;
  const Mode m_mode;
  std::optional<Prompt> m_prompt;
  std::optional<Failure> m_failure;  ///< ends the loop
  bool m_seen = false;               ///< the phone has been on the bus
  unsigned m_nameWatch = 0;

  // Reset when the phone leaves the bus.
  std::unique_ptr<Lifetime> m_session;  ///< drops late replies
  std::unique_ptr<BusyNotice> m_notice;
  std::string m_imagesFolder;
  bool m_announced = false;
  bool m_answering = false;
  bool m_outcomeSeen = false;  ///< since the answer was sent
  bool m_postponed = false;    ///< the user answered "later" for the waiting cards
  long long m_waiting = 0;
  long long m_waitingWhenAnswered = 0;

  PhoneObserver m_observer;
};

Watch::Watch(PhoneBus& bus, WatchView& view, Mode mode)
    : m_bus(bus), m_view(view), m_mode(mode), m_observer(bus, *this) {
  if (mode == Mode::kAsk) {
    m_prompt.emplace([this](Prompt::Answer answer) { answered(answer); });
  }
}

Watch::~Watch() {
  if (m_nameWatch != 0) Gio::DBus::unwatch_name(m_nameWatch);
}

void Watch::run() {
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
}

void Watch::appeared(const std::string& owner) {
  guarded([&] {
    m_seen = true;
    m_session = std::make_unique<Lifetime>();
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
    m_session.reset();
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

// The first notification may arrive before the reply to the subscription.
void Watch::announce() {
  if (m_announced) return;
  m_announced = true;
  m_view.watching(m_imagesFolder);
}

void Watch::cardOffered(const std::string& message) {
  m_waiting += 1;
  m_postponed = false;
  show([&] { m_view.cardOffered(message, m_waiting); });
}

void Watch::cardsAccepted(const Outcome& outcome) {
  m_waiting = 0;
  m_outcomeSeen = true;
  show([&] { m_view.outcome(outcome); });
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

void Watch::decide() {
  if (m_waiting == 0 || m_answering) return;
  if (m_mode == Mode::kAccept) send(true);
  if (m_mode == Mode::kReject) send(false);
  if (m_mode == Mode::kAsk && !m_postponed) m_prompt->ask(m_waiting);
}

void Watch::answered(Prompt::Answer answer) {
  guarded([&] {
    m_prompt->takeBack();
    m_postponed = answer != Prompt::Answer::kUnclear;
    switch (answer) {
      case Prompt::Answer::kYes:
        return send(true);
      case Prompt::Answer::kNo:
        return send(false);
      case Prompt::Answer::kLater:
        return note("you will be asked again with the next card, or use phonectl accept or reject");
      case Prompt::Answer::kUnclear:
        return m_prompt->askAgain();
      case Prompt::Answer::kEnded:
        return note("standard input has ended; use phonectl accept or phonectl reject to answer");
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
    // Cards that arrived after the outcome are still waiting.
    if (!m_outcomeSeen) m_waiting = 0;
  } else {
    // Cards that arrived meanwhile may have been rejected too; answering again does no harm.
    m_waiting = std::max(0LL, m_waiting - m_waitingWhenAnswered);
    m_view.rejected(m_waitingWhenAnswered);
  }
  if (m_waiting > 0) m_postponed = false;
  decide();
}

void Watch::send(const PhoneCall& call,
                 const std::function<void(const Glib::VariantContainerBase&)>& then) {
  m_bus.call(call, m_session->bind([this, then](const PhoneBus::Answer& answer) {
    guarded([&] {
      if (answer.failure) {
        failCall(*answer.failure);
      } else {
        then(answer.body);
      }
    });
  }));
}

// A phone that is gone is reported by vanished(). Without a subscription there is nothing to watch,
// but a failed answer can be repeated.
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

/// No exception may pass through the main loop: it ends the watch instead.
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

Watch::Mode modeOf(const Context& context, const Options& options) {
  if (options.accept) return Watch::Mode::kAccept;
  if (options.reject) return Watch::Mode::kReject;
  const bool terminal = ::isatty(STDIN_FILENO) == 1 && ::isatty(STDOUT_FILENO) == 1;
  return options.ask || (terminal && !context.json) ? Watch::Mode::kAsk : Watch::Mode::kShow;
}

void watch(const Context& context, const Options& options) {
  PhoneBus bus(context.place());
  const std::unique_ptr<WatchView> view = context.json ? makeJsonView() : makeTextView();
  Watch(bus, *view, modeOf(context, options)).run();
}

}  // namespace

void addWatch(CLI::App& parent, Context& context) {
  CLI::App& command = addCommand(
      parent, "watch", "Show cards as they come in, and answer them",
      std::string(
          "In a terminal, --ask is the default; elsewhere cards are only shown and wait for\n"
          "`phonectl accept` or `phonectl reject`. An answer applies to all waiting cards, also "
          "to\n"
          "earlier ones. Ctrl-C or SIGTERM ends the command with exit code 0. It subscribes again\n"
          "when the phone restarts.\n\n") +
          jsonViewHelp());
  const auto options = std::make_shared<Options>();
  CLI::Option* const json =
      command.add_flag("--json", context.json, "Print one JSON object per line");
  CLI::Option* const accept = command.add_flag("--accept", options->accept, "Store every card");
  CLI::Option* const reject = command.add_flag("--reject", options->reject, "Discard every card");
  CLI::Option* const ask =
      command.add_flag("--ask", options->ask, "Ask, and read answers from standard input");
  accept->excludes(reject)->excludes(ask);
  reject->excludes(ask);
  ask->excludes(json);
  command.callback([&context, options] { watch(context, *options); });
}

}  // namespace phonectl
