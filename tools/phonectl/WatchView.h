#pragma once

#include <memory>
#include <string>

#include "tools/phonectl/PhoneObserver.h"

namespace phonectl {

/// How `phonectl watch` shows notifications. Takes strings as the phone sent them and makes them
/// safe to print. Throws Failure if standard output can't be written.
class WatchView {
 public:
  virtual ~WatchView() = default;

  /// Subscribed; photos are in `imagesFolder`.
  virtual void watching(const std::string& imagesFolder) = 0;
  /// The phone left the bus; `waiting` unanswered cards are lost with it.
  virtual void phoneGone(long long waiting) = 0;
  /// A card came in; `waiting` cards are waiting now.
  virtual void cardOffered(const std::string& message, long long waiting) = 0;
  virtual void outcome(const Outcome& outcome) = 0;
  /// We rejected this many waiting cards.
  virtual void rejected(long long count) = 0;
  virtual void cardUnreadable() = 0;
  virtual void destinationWanted(const std::string& contact) = 0;
  virtual void contactSent(const std::string& contact) = 0;
  virtual void contactNotSent(const std::string& contact, const std::string& address) = 0;

 protected:
  WatchView() = default;
  WatchView(const WatchView&) = default;
  WatchView& operator=(const WatchView&) = default;
};

/// For people.
std::unique_ptr<WatchView> makeTextView();

/// For programs: one JSON object per line.
std::unique_ptr<WatchView> makeJsonView();
/// Its events, for `--help`.
const char* jsonViewHelp();

}  // namespace phonectl
