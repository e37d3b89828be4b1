#pragma once

#include "radio/Name.h"

namespace radio {

/// Removes a listener's name from the folder when its last descriptor is closed.
///
/// Made before a descriptor goes away, asked to finish after it. It never waits: what it cannot
/// remove now is removed by whoever comes across it. errno is kept; signal handlers may use it.
class ListenerCleanup {
 public:
  explicit ListenerCleanup(int fd);
  void finish() const;

 private:
  Place m_place;
  bool m_listener = false;
};

}  // namespace radio
