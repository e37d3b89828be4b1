#pragma once

#include "tools/phonectl/WatchView.h"

namespace phonectl {

/// For people: a card as they would want to see it.
class WatchText : public WatchView {
 public:
  void watching(const std::string& imagesFolder) override;
  void phoneGone(long long waiting) override;
  void cardOffered(const std::string& message, long long waiting) override;
  void outcome(const Outcome& outcome) override;
  void rejected(long long count) override;
  void cardUnreadable() override;
  void destinationWanted(const std::string& contact) override;
  void contactSent(const std::string& contact) override;
  void contactNotSent(const std::string& contact, const std::string& address) override;

 private:
  std::string m_imagesFolder;
  bool m_restarted = false;
};

}  // namespace phonectl
