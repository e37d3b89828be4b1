#include "radio/Options.h"

#include <bluetooth/bluetooth.h>
#include <bluetooth/rfcomm.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "radio/Kernel.h"

namespace radio {
namespace {

// RFCOMM_LM_FIPS of the kernel, which rejects it; no user-space header defines it.
constexpr uint32_t kLinkModeFips = 0x0040;

template <typename Value>
int copyOut(const Value& result, void* value, socklen_t* length) {
  if (value == nullptr || length == nullptr) return -EFAULT;
  const size_t size = std::min<size_t>(*length, sizeof result);
  std::memcpy(value, &result, size);
  *length = static_cast<socklen_t>(size);
  return 0;
}

template <typename Value>
int copyIn(const void* value, socklen_t length, Value* result) {
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
  const int copied = copyIn(value, length, &mode);
  if (copied != 0) return copied;
  if ((mode & kLinkModeFips) != 0) return -EINVAL;
  if ((mode & RFCOMM_LM_AUTH) != 0) state.security = BT_SECURITY_LOW;
  if ((mode & RFCOMM_LM_ENCRYPT) != 0) state.security = BT_SECURITY_MEDIUM;
  if ((mode & RFCOMM_LM_SECURE) != 0) state.security = BT_SECURITY_HIGH;
  state.master = (mode & RFCOMM_LM_MASTER) != 0;
  return writeState(fd, state);
}

int setSecurity(int fd, SocketState state, const void* value, socklen_t length) {
  bt_security wanted = {};
  wanted.level = BT_SECURITY_LOW;
  if (value == nullptr) return -EFAULT;
  std::memcpy(&wanted, value, std::min<size_t>(length, sizeof wanted));
  if (wanted.level > BT_SECURITY_HIGH) return -EINVAL;
  state.security = wanted.level;
  return writeState(fd, state);
}

int getRfcommOption(const SocketState& state, int name, void* value, socklen_t* length) {
  if (name == RFCOMM_LM) return copyOut(linkMode(state), value, length);
  if (name != RFCOMM_CONNINFO) return -ENOPROTOOPT;
  if (!isLinked(state)) return -ENOTCONN;
  rfcomm_conninfo info;
  std::memset(&info, 0, sizeof info);  // also the padding
  info.hci_handle = 1;
  return copyOut(info, value, length);
}

int getBluetoothOption(const SocketState& state, int name, void* value, socklen_t* length) {
  if (name == BT_DEFER_SETUP) return copyOut(uint32_t{0}, value, length);
  if (name != BT_SECURITY) return -ENOPROTOOPT;
  bt_security security = {};
  security.level = state.security;
  return copyOut(security, value, length);
}

// The Unix socket would report its own domain and protocol.
int getSocketOption(int fd, int name, void* value, socklen_t* length) {
  if (name == SO_DOMAIN) return copyOut(int{AF_BLUETOOTH}, value, length);
  if (name == SO_PROTOCOL) return copyOut(int{BTPROTO_RFCOMM}, value, length);
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
  // Holds the socket's state, see SocketState.h.
  if (level == SOL_SOCKET && name == SO_MAX_PACING_RATE) return 0;
  if (level == SOL_SOCKET) return kernel::setSockOpt(fd, level, name, value, length);
  if (level == SOL_RFCOMM && name == RFCOMM_LM) return setLinkMode(fd, state, value, length);
  if (level == SOL_BLUETOOTH && name == BT_SECURITY) return setSecurity(fd, state, value, length);
  return -ENOPROTOOPT;
}

}  // namespace radio
