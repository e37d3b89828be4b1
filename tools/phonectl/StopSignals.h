#pragma once

#include <csignal>
#include <functional>

namespace phonectl {

/// Catches SIGINT, SIGTERM and SIGHUP while it lives, so that a command can say what it leaves
/// behind. The main loop wakes up for them. A second signal of the same kind ends the program at
/// once.
///
/// Threads: the one that runs the default main loop. At most one object at a time.
class StopSignals {
 public:
  StopSignals();
  ~StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

  /// The first signal that came, or 0.
  [[nodiscard]] int caught() const { return m_caught; }

 private:
  struct Source {
    StopSignals* owner;
    int signal;
    unsigned id;
  };

  static int onSignal(void* source);

  int m_caught = 0;
  Source m_sources[3];
};

}  // namespace phonectl
