#pragma once

/// Which descriptors are radio ones, asked often and answered cheaply.
///
/// Remembered is only that a number is certainly not the radio's, so that the program's other
/// writing costs no extra system call. Forgetting that too often is harmless; it has to be
/// forgotten whenever a number may begin to stand for a radio socket. Safe in every thread, across
/// fork and vfork and in signal handlers; errno is kept.

#include "radio/SocketState.h"

namespace radio {

bool isRadio(int fd, SocketState* state);

/// The number stands, or may stand, for something else from now on.
void forget(int fd);

}  // namespace radio
