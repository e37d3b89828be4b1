#include "radio/SocketState.h"

#include <sys/socket.h>

#include <atomic>

#include "radio/Kernel.h"

namespace radio {
namespace {

// "RFC" in the upper three bytes. Fits 32 bits, which every kernel accepts.
constexpr uint32_t kMagic = 0x52464300;
constexpr uint32_t kMagicMask = 0xFFFFFF00;
constexpr uint32_t kStateMask = 0x07;
constexpr uint32_t kAnyAddress = 0x08;
constexpr int kSecurityShift = 4;
constexpr uint32_t kSecurityMask = 0x07;
constexpr uint32_t kMaster = 0x80;

// Descriptors from here on are not cached.
constexpr int kCacheSize = 4096;
constinit std::atomic<bool> g_foreign[kCacheSize] = {};

bool inRange(int fd) { return fd >= 0 && fd < kCacheSize; }

}  // namespace

bool readState(int fd, SocketState* state) {
  uint32_t value = 0;
  socklen_t length = sizeof value;
  if (kernel::getSockOpt(fd, SOL_SOCKET, SO_MAX_PACING_RATE, &value, &length) < 0) return false;
  if (length != sizeof value || (value & kMagicMask) != kMagic) return false;
  state->state = static_cast<State>(value & kStateMask);
  state->anyAddress = (value & kAnyAddress) != 0;
  state->master = (value & kMaster) != 0;
  state->security = static_cast<uint8_t>((value >> kSecurityShift) & kSecurityMask);
  return true;
}

int writeState(int fd, const SocketState& state) {
  const uint32_t value = kMagic | static_cast<uint32_t>(state.state) |
                         (state.anyAddress ? kAnyAddress : 0) | (state.master ? kMaster : 0) |
                         (static_cast<uint32_t>(state.security) << kSecurityShift);
  return kernel::setSockOpt(fd, SOL_SOCKET, SO_MAX_PACING_RATE, &value, sizeof value);
}

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
