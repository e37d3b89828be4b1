#pragma once

/// The radio's own system calls. It can't use the C library's functions, because their names
/// resolve to the radio's own or to a sanitizer's, which calls the radio's. Each returns the
/// kernel's result, a negative errno on failure.
///
/// All are async-signal-safe, leave errno unchanged, and are no cancellation points.

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

namespace radio::kernel {

/// Restores errno at the end of the scope.
class KeepErrno {
 public:
  KeepErrno() : m_kept(errno) {}
  ~KeepErrno() { errno = m_kept; }
  KeepErrno(const KeepErrno&) = delete;
  KeepErrno& operator=(const KeepErrno&) = delete;

 private:
  const int m_kept;
};

/// Widens an argument to the register size that the kernel reads.
template <typename Number>
long widen(Number number) {
  return static_cast<long>(number);
}
template <typename Pointed>
Pointed* widen(Pointed* pointer) {
  return pointer;
}
inline void* widen(std::nullptr_t) { return nullptr; }

template <typename... Arguments>
int call(long number, Arguments... arguments) {
  const KeepErrno keep;
  const long result = syscall(number, widen(arguments)...);
  return result < 0 ? -errno : static_cast<int>(result);
}

inline int socket(int family, int type, int protocol) {
  return call(SYS_socket, family, type, protocol);
}
inline int close(int fd) { return call(SYS_close, fd); }
inline int bind(int fd, const void* address, socklen_t length) {
  return call(SYS_bind, fd, address, length);
}
inline int connect(int fd, const void* address, socklen_t length) {
  return call(SYS_connect, fd, address, length);
}
inline int listen(int fd, int backlog) { return call(SYS_listen, fd, backlog); }
inline int shutdown(int fd, int how) { return call(SYS_shutdown, fd, how); }
inline int getSockName(int fd, void* address, socklen_t* length) {
  return call(SYS_getsockname, fd, address, length);
}
inline int getPeerName(int fd, void* address, socklen_t* length) {
  return call(SYS_getpeername, fd, address, length);
}
inline int getSockOpt(int fd, int level, int name, void* value, socklen_t* length) {
  return call(SYS_getsockopt, fd, level, name, value, length);
}
inline int setSockOpt(int fd, int level, int name, const void* value, socklen_t length) {
  return call(SYS_setsockopt, fd, level, name, value, length);
}
inline int getFlags(int fd) {
#ifdef SYS_fcntl64
  return call(SYS_fcntl64, fd, F_GETFL, 0);
#else
  return call(SYS_fcntl, fd, F_GETFL, 0);
#endif
}
inline int setFlags(int fd, int flags) {
#ifdef SYS_fcntl64
  return call(SYS_fcntl64, fd, F_SETFL, flags);
#else
  return call(SYS_fcntl, fd, F_SETFL, flags);
#endif
}
inline void write(int fd, const char* text, size_t length) {
  static_cast<void>(call(SYS_write, fd, text, length));
}

}  // namespace radio::kernel
