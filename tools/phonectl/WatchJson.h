#pragma once

#include "tools/phonectl/WatchView.h"

namespace phonectl {

/// For programs: one JSON object a line. The vocabulary stands in the help of `phonectl watch`.
class WatchJson : public WatchView {
 public:
  /// The vocabulary, for the help.
  static const char* vocabulary();

  void watching(const std::string& imagesFolder) override;
  void phoneGone(long long waiting) override;
  void cardOffered(const std::string& message, long long waiting) override;
  void outcome(const Outcome& outcome) override;
  void rejected(long long count) override;
  void cardUnreadable() override;
  void destinationWanted(const std::string& contact) override;
  void contactSent(const std::string& contact) override;
  void contactNotSent(const std::string& contact, const std::string& address) override;
};

}  // namespace phonectl
