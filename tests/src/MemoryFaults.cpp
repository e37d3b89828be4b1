#include "tests/src/MemoryFaults.h"

#include <cstdlib>

namespace {

struct Allocations {
  std::size_t count = 0;
  std::size_t failing = 0;  ///< 0: none
  bool onlyOne = false;
  long blocks = 0;

  bool fails() {
    ++count;
    return failing != 0 && (onlyOne ? count == failing : count >= failing);
  }
  void* taken(void* block) {
    if (block != nullptr) ++blocks;
    return block;
  }
};

Allocations allocations;

}  // namespace

// The names that the linker's --wrap gives to a function and its replacement.
extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* block, std::size_t size);
void __real_free(void* block);

void* __wrap_malloc(std::size_t size) {
  return allocations.fails() ? nullptr : allocations.taken(__real_malloc(size));
}

void* __wrap_calloc(std::size_t count, std::size_t size) {
  return allocations.fails() ? nullptr : allocations.taken(__real_calloc(count, size));
}

void* __wrap_realloc(void* block, std::size_t size) {
  if (allocations.fails()) return nullptr;
  void* const moved = __real_realloc(block, size);
  return block == nullptr ? allocations.taken(moved) : moved;
}

void __wrap_free(void* block) {
  if (block != nullptr) --allocations.blocks;
  __real_free(block);
}
}

namespace test {

MemoryFaults::MemoryFaults(std::size_t nth, Kind kind) {
  allocations.count = 0;
  allocations.failing = nth;
  allocations.onlyOne = kind == Kind::Once;
}

MemoryFaults::~MemoryFaults() { allocations.failing = 0; }

bool MemoryFaults::happened() const { return allocations.count >= allocations.failing; }

long MemoryFaults::blocks() { return allocations.blocks; }

}  // namespace test
