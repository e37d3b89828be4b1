#include "radio/Descriptors.h"

#include <atomic>

namespace radio {
namespace {

// Numbers beyond are asked about every time.
constexpr int kRemembered = 4096;

constinit std::atomic<bool> g_foreign[kRemembered] = {};

bool inRange(int fd) { return fd >= 0 && fd < kRemembered; }

}  // namespace

bool isRadio(int fd, SocketState* state) {
  if (inRange(fd) && g_foreign[fd].load(std::memory_order_relaxed)) return false;
  if (readState(fd, state)) return true;
  if (inRange(fd)) g_foreign[fd].store(true, std::memory_order_relaxed);
  return false;
}

void forget(int fd) {
  if (inRange(fd)) g_foreign[fd].store(false, std::memory_order_relaxed);
}

}  // namespace radio
