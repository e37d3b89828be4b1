// Out of memory: each allocation of a write fails once.

#include <cstdlib>
#include <new>
#include <string>

#include "StorageFixture.h"

namespace {

constexpr long kUnlimited = -1;
// Allocations of this thread that still succeed.
thread_local long allocationsLeft = kUnlimited;

void* Allocate(std::size_t size) {
  if (allocationsLeft == 0) throw std::bad_alloc();
  if (allocationsLeft > 0) --allocationsLeft;
  void* memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace

void* operator new(std::size_t size) { return Allocate(size); }
void* operator new[](std::size_t size) { return Allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

class StorageMemoryTest : public StorageTest {
 protected:
  // Stores a file; fails after this many allocations.
  bool StoreWith(long allocations, const std::string& path, std::string bytes) const {
    allocationsLeft = allocations;
    bool stored = false;
    {
      Storage storage(m_root, m_limits);
      stored = storage.init(path.c_str(), std::ios::in, std::ios::out) &&
               storage.store(nullptr, bytes.data(), static_cast<int>(bytes.size()));
    }
    allocationsLeft = kUnlimited;
    return stored;
  }
  // Allows one more allocation each time until the write succeeds. Nothing may change before that.
  long ExpectRefusedUntilStored(const std::string& name, const std::string& bytes) const {
    const std::string path = At(name);
    long allocations = 0;
    for (Tree before = Everything(); !StoreWith(allocations, path, bytes); ++allocations) {
      EXPECT_EQ(Everything(), before) << allocations;
      if (allocations > 10000 || HasFailure()) break;
    }
    EXPECT_EQ(Read(name), bytes);
    return allocations;
  }
};

TEST_F(StorageMemoryTest, LeavesNothingWithoutMemoryForANewFile) {
  EXPECT_GT(ExpectRefusedUntilStored("a folder/another folder/a picture of John.jpg", "new"), 5);
}

TEST_F(StorageMemoryTest, KeepsTheExistingFileWithoutMemory) {
  Put("a folder/another folder/a picture of John.jpg", "old");
  EXPECT_GT(ExpectRefusedUntilStored("a folder/another folder/a picture of John.jpg", "new"), 5);
  EXPECT_EQ(Read("a folder/another folder/a picture of John.jpg~"), "old");
}

TEST_F(StorageMemoryTest, RefusesWhenItWasConstructedWithoutMemory) {
  allocationsLeft = 0;
  Storage storage;
  allocationsLeft = kUnlimited;
  char data[] = "x";
  EXPECT_FALSE(storage.init("/data/images/photo.jpg", std::ios::in, std::ios::out));
  EXPECT_FALSE(storage.store(nullptr, data, 1));
  storage.shutdown();
}

}  // namespace
