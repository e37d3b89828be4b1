#pragma once

#include <string>

#include "tools/phonectl/Outcome.h"

namespace phonectl {

/// How `phonectl watch` shows what happens. Texts are as the phone sent them; a view makes them
/// safe. Throws Failure when it can't write.
///
/// Threads: the one that runs the default main loop.
class WatchView {
 public:
  virtual ~WatchView() = default;

  /// The phone has taken the subscription; photos are in `imagesFolder`.
  virtual void watching(const std::string& imagesFolder) = 0;
  /// The phone has left the bus; `waiting` cards that had no answer are gone with it.
  virtual void phoneGone(long long waiting) = 0;
  /// A card has come in; `waiting` wait now.
  virtual void cardOffered(const std::string& message, long long waiting) = 0;
  virtual void outcome(const Outcome& outcome) = 0;
  /// The answer "no" has been taken for the cards that waited.
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

}  // namespace phonectl
