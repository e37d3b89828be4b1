#pragma once

#include <cstddef>

namespace test {

/// Lets allocations with the C library's functions fail, and counts them. Covers the code linked
/// into the program itself (by the linker's --wrap), not `new` and not shared libraries.
class MemoryFaults {
 public:
  enum class Kind {
    Once,     ///< only that allocation fails
    FromThen  ///< that one and all later ones fail
  };

  /// While it lives, the `nth` allocation (from 1) fails.
  MemoryFaults(std::size_t nth, Kind kind);
  ~MemoryFaults();
  MemoryFaults(const MemoryFaults&) = delete;
  MemoryFaults& operator=(const MemoryFaults&) = delete;

  /// Whether an allocation has failed.
  bool happened() const;

  /// Blocks allocated and not freed since the program began.
  static long blocks();
};

}  // namespace test
