#pragma once

/// What marks a Unix socket as one of the radio's.
///
/// There is no list of descriptors. The state is stored in the socket, as its SO_MAX_PACING_RATE,
/// which Unix sockets keep but don't use. So it survives dup, fork, exec and SCM_RIGHTS, ends with
/// the socket and needs no lock.
///
/// All functions are thread-safe, async-signal-safe, and leave errno unchanged.

#include <cstdint>

namespace radio {

enum class State : uint8_t {
  kOpen,
  kBound,
  kListening,
  kConnected,  ///< by connect()
  kAccepted,
  kClosed,    ///< connect() failed; as in the kernel, the socket can't be used again
  kShutDown,  ///< by shutdown()
};

struct SocketState {
  State state = State::kOpen;
  bool anyAddress = false;  ///< bound to 00:00:00:00:00:00
  bool master = false;      ///< RFCOMM_LM_MASTER was set
  uint8_t security = 1;     ///< BT_SECURITY_*, 0 to 4
};

/// False when the descriptor is no radio socket.
bool readState(int fd, SocketState* state);

/// 0 or a negative errno.
int writeState(int fd, const SocketState& state);

inline bool isLinked(const SocketState& state) {
  return state.state == State::kConnected || state.state == State::kAccepted;
}

/// readState() with a negative cache: no system call for descriptors known not to be radio sockets.
bool isRadio(int fd, SocketState* state);

/// Drops the descriptor from the cache. Call whenever it may refer to another socket; dropping it
/// too often is harmless.
void forget(int fd);

}  // namespace radio
