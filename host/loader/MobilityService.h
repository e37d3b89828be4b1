#pragma once

#include <cstddef>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "framework/Executable.h"
#include "framework/MobilityServiceIfc.h"

namespace host {

/// The telephone's Mobility Service. This telephone has nowhere to copy files to; it only records
/// the newest ones, for status and log.
///
/// Threads: any.
class MobilityService : public Executable, public MobilityServiceIfc {
 public:
  /// Number of paths kept.
  static constexpr std::size_t kRemembered = 32;

  void init(Context& context) override { static_cast<void>(context); }
  void shutdown() override {}

  /// Records a path. Returns false for an empty one.
  bool registerFile(const std::string& path) override;

  /// Newest first, without duplicates.
  [[nodiscard]] std::vector<std::string> recentFiles() const;
  /// Number of registrations since the start, duplicates included.
  [[nodiscard]] std::size_t count() const;

 private:
  mutable std::mutex m_mutex;
  // Guarded by m_mutex:
  std::deque<std::string> m_recent;
  std::size_t m_count = 0;
};

}  // namespace host
