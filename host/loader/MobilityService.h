#pragma once

#include <cstddef>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "framework/Executable.h"
#include "framework/MobilityServiceIfc.h"

namespace host {

/// The telephone's Mobility Service. This telephone has no second place to which files could be
/// carried; it keeps a record of the newest ones, for its status and its log.
///
/// Threads: any.
class MobilityService : public Executable, public MobilityServiceIfc {
 public:
  /// How many paths are remembered, the newest ones.
  static constexpr std::size_t kRemembered = 32;

  void init(Context& context) override { static_cast<void>(context); }
  void shutdown() override {}

  /// Takes note of any path but an empty one.
  bool registerFile(const std::string& path) override;

  /// The newest first.
  [[nodiscard]] std::vector<std::string> recentFiles() const;
  /// How many were registered since the start, one written again counted again.
  [[nodiscard]] std::size_t count() const;

 private:
  mutable std::mutex m_mutex;
  // Guarded by m_mutex:
  std::deque<std::string> m_recent;
  std::size_t m_count = 0;
};

}  // namespace host
