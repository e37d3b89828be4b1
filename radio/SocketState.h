#pragma once

/// What makes a local socket a radio one.
///
/// The radio keeps no list of descriptors. It writes a state into the socket itself: the value of
/// SO_MAX_PACING_RATE, which means nothing to a local socket. So the state goes wherever the socket
/// goes, over dup, fork, exec and a descriptor sent to another process, disappears with it, and
/// needs no lock; a number that was given to something else is never mistaken for the radio's.

#include <cstdint>

namespace radio {

enum class State : uint8_t {
  kOpen,
  kBound,
  kListening,
  kConnected,  ///< by connect()
  kAccepted,
  kClosed,    ///< a connect failed; as on the real stack the socket is good for nothing more
  kShutDown,  ///< by shutdown()
};

struct SocketState {
  State state = State::kOpen;
  bool anyAddress = false;  ///< bound without naming an adapter
  bool master = false;      ///< RFCOMM_LM_MASTER was asked for
  uint8_t security = 1;     ///< BT_SECURITY_*, 0 to 4
};

/// True when the descriptor is a radio socket. Any thread, also in a signal handler; errno is kept.
bool readState(int fd, SocketState* state);

/// 0 or a negative error number.
int writeState(int fd, const SocketState& state);

inline bool isLinked(const SocketState& state) {
  return state.state == State::kConnected || state.state == State::kAccepted;
}

/// Which descriptors are radio ones, asked often and answered cheaply.
///
/// Remembered is only that a number is certainly not the radio's, so that the program's other
/// writing costs no extra system call. Forgetting that too often is harmless; it has to be
/// forgotten whenever a number may begin to stand for a radio socket. Safe in every thread, across
/// fork and vfork and in signal handlers; errno is kept.

bool isRadio(int fd, SocketState* state);

/// The number stands, or may stand, for something else from now on.
void forget(int fd);

}  // namespace radio
