#pragma once

#include <cstddef>

namespace test {

/// Makes the C library's allocations fail, and counts them. It sees those of the code that is
/// linked into this program itself, which the linker's --wrap sends here; `new` is not among them.
class MemoryFaults {
 public:
  enum class Kind {
    Once,     ///< one allocation fails
    FromThen  ///< that one and all later ones
  };

  /// While it lives, the `nth` allocation (from 1) fails.
  MemoryFaults(std::size_t nth, Kind kind);
  ~MemoryFaults();
  MemoryFaults(const MemoryFaults&) = delete;
  MemoryFaults& operator=(const MemoryFaults&) = delete;

  /// Whether an allocation has failed.
  bool happened() const;

  /// Blocks that were allocated and not freed since the program began.
  static long blocks();
};

}  // namespace test
