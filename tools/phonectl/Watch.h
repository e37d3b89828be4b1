#pragma once

#include <memory>
#include <optional>
#include <string>

#include "tools/phonectl/BusyNotice.h"
#include "tools/phonectl/Lifetime.h"
#include "tools/phonectl/PhoneBus.h"
#include "tools/phonectl/PhoneEvents.h"
#include "tools/phonectl/PhoneObserver.h"
#include "tools/phonectl/Prompt.h"
#include "tools/phonectl/WatchView.h"

namespace phonectl {

/// Stays subscribed to the phone, shows what it tells and answers for the user. When the phone is
/// restarted it subscribes again.
///
/// How many cards wait is counted from what the phone offered since: it offers each card once, and
/// tells of every acceptance, whoever accepted, but not of a rejection by someone else.
///
/// Threads: the one that runs the default main loop.
class Watch : private PhoneEvents {
 public:
  enum class Mode { Show, Accept, Reject, Ask };

  /// `bus` and `view` must outlive it. Throws Failure.
  Watch(PhoneBus& bus, WatchView& view, Mode mode);
  ~Watch() override;
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

  /// Returns the exit code when the user ends it; throws Failure when it can't go on.
  int run();

 private:
  // The phone on the bus.
  void appeared(const std::string& owner);
  void vanished();
  void askStatus();
  void subscribe();
  void announce();

  // What the phone tells.
  void cardOffered(const std::string& message) override;
  void cardsStored(const std::string& firstMessage, long long count) override;
  void cardsNotStored(const std::string& firstMessage, long long count) override;
  void cardUnreadable() override;
  void destinationWanted(const std::string& contact) override;
  void contactSent(const std::string& contact) override;
  void contactNotSent(const std::string& contact, const std::string& address) override;
  void batchEnded(bool stored, const std::string& firstMessage, long long count);

  // What the user says.
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
  std::optional<Failure> m_failure;  ///< why the loop ends
  bool m_seen = false;               ///< the phone was there at some time
  unsigned m_nameWatch = 0;

  // Of the phone that is there now.
  std::unique_ptr<Lifetime> m_visit;  ///< answers of a phone that has gone are not wanted
  std::unique_ptr<BusyNotice> m_notice;
  std::string m_imagesFolder;
  bool m_announced = false;
  bool m_answering = false;
  bool m_outcomeSeen = false;  ///< since the answer that is on its way
  bool m_postponed = false;    ///< the user has said "later" to what waits
  long long m_waiting = 0;
  long long m_waitingWhenAnswered = 0;

  PhoneObserver m_observer;
};

}  // namespace phonectl
