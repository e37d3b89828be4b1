#include "radio/Options.h"

#include <bluetooth/bluetooth.h>
#include <bluetooth/rfcomm.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "radio/Kernel.h"

namespace radio {
namespace {

// No header of the C library or of BlueZ names this bit, which the kernel refuses.
constexpr uint32_t kLinkModeFips = 0x0040;

template <typename Value>
int give(const Value& result, void* value, socklen_t* length) {
  if (value == nullptr || length == nullptr) return -EFAULT;
  const size_t size = std::min<size_t>(*length, sizeof result);
  std::memcpy(value, &result, size);
  *length = static_cast<socklen_t>(size);
  return 0;
}

template <typename Value>
int take(const void* value, socklen_t length, Value* result) {
  if (value == nullptr) return -EFAULT;
  if (length < sizeof *result) return -EINVAL;
  std::memcpy(result, value, sizeof *result);
  return 0;
}

uint32_t linkMode(const SocketState& state) {
  uint32_t mode = state.master ? RFCOMM_LM_MASTER : 0;
  if (state.security >= BT_SECURITY_LOW) mode |= RFCOMM_LM_AUTH;
  if (state.security >= BT_SECURITY_MEDIUM) mode |= RFCOMM_LM_ENCRYPT;
  if (state.security >= BT_SECURITY_HIGH) mode |= RFCOMM_LM_SECURE;
  return mode;
}

int setLinkMode(int fd, SocketState state, const void* value, socklen_t length) {
  uint32_t mode = 0;
  const int taken = take(value, length, &mode);
  if (taken != 0) return taken;
  if ((mode & kLinkModeFips) != 0) return -EINVAL;
  if ((mode & RFCOMM_LM_AUTH) != 0) state.security = BT_SECURITY_LOW;
  if ((mode & RFCOMM_LM_ENCRYPT) != 0) state.security = BT_SECURITY_MEDIUM;
  if ((mode & RFCOMM_LM_SECURE) != 0) state.security = BT_SECURITY_HIGH;
  state.master = (mode & RFCOMM_LM_MASTER) != 0;
  return writeState(fd, state);
}

int setSecurity(int fd, SocketState state, const void* value, socklen_t length) {
  bt_security wish = {};
  wish.level = BT_SECURITY_LOW;
  if (value == nullptr) return -EFAULT;
  std::memcpy(&wish, value, std::min<size_t>(length, sizeof wish));
  if (wish.level > BT_SECURITY_HIGH) return -EINVAL;
  state.security = wish.level;
  return writeState(fd, state);
}

int getRfcommOption(const SocketState& state, int name, void* value, socklen_t* length) {
  if (name == RFCOMM_LM) return give(linkMode(state), value, length);
  if (name != RFCOMM_CONNINFO) return -ENOPROTOOPT;
  if (!isLinked(state)) return -ENOTCONN;
  rfcomm_conninfo info;
  std::memset(&info, 0, sizeof info);  // the padding too
  info.hci_handle = 1;
  return give(info, value, length);
}

int getBluetoothOption(const SocketState& state, int name, void* value, socklen_t* length) {
  if (name == BT_DEFER_SETUP) return give(uint32_t{0}, value, length);
  if (name != BT_SECURITY) return -ENOPROTOOPT;
  bt_security security = {};
  security.level = state.security;
  return give(security, value, length);
}

// What a local socket would say of itself.
int getSocketOption(int fd, int name, void* value, socklen_t* length) {
  if (name == SO_DOMAIN) return give(int{AF_BLUETOOTH}, value, length);
  if (name == SO_PROTOCOL) return give(int{BTPROTO_RFCOMM}, value, length);
  return kernel::getSockOpt(fd, SOL_SOCKET, name, value, length);
}

}  // namespace

int getOption(int fd, const SocketState& state, int level, int name, void* value,
              socklen_t* length) {
  if (level == SOL_SOCKET) return getSocketOption(fd, name, value, length);
  if (level == SOL_RFCOMM) return getRfcommOption(state, name, value, length);
  if (level == SOL_BLUETOOTH) return getBluetoothOption(state, name, value, length);
  return -ENOPROTOOPT;
}

int setOption(int fd, SocketState state, int level, int name, const void* value, socklen_t length) {
  // The state lives in this option.
  if (level == SOL_SOCKET && name == SO_MAX_PACING_RATE) return 0;
  if (level == SOL_SOCKET) return kernel::setSockOpt(fd, level, name, value, length);
  if (level == SOL_RFCOMM && name == RFCOMM_LM) return setLinkMode(fd, state, value, length);
  if (level == SOL_BLUETOOTH && name == BT_SECURITY) return setSecurity(fd, state, value, length);
  return -ENOPROTOOPT;
}

}  // namespace radio
