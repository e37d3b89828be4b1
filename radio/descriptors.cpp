#include "radio/descriptors.h"

#include <atomic>

namespace radio {
namespace {

// Numbers beyond are asked about every time.
constexpr int kRemembered = 4096;

constinit std::atomic<bool> g_foreign[kRemembered] = {};

bool InRange(int fd) { return fd >= 0 && fd < kRemembered; }

}  // namespace

bool IsRadio(int fd, Mark* mark) {
  if (InRange(fd) && g_foreign[fd].load(std::memory_order_relaxed)) return false;
  if (ReadMark(fd, mark)) return true;
  if (InRange(fd)) g_foreign[fd].store(true, std::memory_order_relaxed);
  return false;
}

void Forget(int fd) {
  if (InRange(fd)) g_foreign[fd].store(false, std::memory_order_relaxed);
}

}  // namespace radio
