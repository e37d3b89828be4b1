// The system calls that the radio makes for itself. It must not go through the C library's
// functions of those names: the program's first definition of them is the radio's own, or a
// sanitizer's that calls the radio's. Results as the kernel gives them: negative is an error
// number.
//
// For the same reason none of these is a cancellation point, and all may run in a signal handler.
#ifndef RADIO_KERNEL_H_
#define RADIO_KERNEL_H_

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

namespace radio::kernel {

// Keeps errno as it was: helpers run where the caller's errno is already the answer.
class KeepErrno {
 public:
  KeepErrno() : kept_(errno) {}
  ~KeepErrno() { errno = kept_; }
  KeepErrno(const KeepErrno&) = delete;
  KeepErrno& operator=(const KeepErrno&) = delete;

 private:
  const int kept_;
};

// As wide as the kernel reads them.
template <typename Number>
long Widen(Number number) {
  return static_cast<long>(number);
}
template <typename Pointed>
Pointed* Widen(Pointed* pointer) {
  return pointer;
}
inline void* Widen(std::nullptr_t) { return nullptr; }

template <typename... Arguments>
int Call(long number, Arguments... arguments) {
  const KeepErrno keep;
  const long result = syscall(number, Widen(arguments)...);
  return result < 0 ? -errno : static_cast<int>(result);
}

inline int Socket(int family, int type, int protocol) {
  return Call(SYS_socket, family, type, protocol);
}
inline int Close(int fd) { return Call(SYS_close, fd); }
inline int Bind(int fd, const void* address, socklen_t length) {
  return Call(SYS_bind, fd, address, length);
}
inline int Connect(int fd, const void* address, socklen_t length) {
  return Call(SYS_connect, fd, address, length);
}
inline int Listen(int fd, int backlog) { return Call(SYS_listen, fd, backlog); }
inline int Shutdown(int fd, int how) { return Call(SYS_shutdown, fd, how); }
inline int GetSockName(int fd, void* address, socklen_t* length) {
  return Call(SYS_getsockname, fd, address, length);
}
inline int GetPeerName(int fd, void* address, socklen_t* length) {
  return Call(SYS_getpeername, fd, address, length);
}
inline int GetSockOpt(int fd, int level, int name, void* value, socklen_t* length) {
  return Call(SYS_getsockopt, fd, level, name, value, length);
}
inline int SetSockOpt(int fd, int level, int name, const void* value, socklen_t length) {
  return Call(SYS_setsockopt, fd, level, name, value, length);
}
inline int GetFlags(int fd) {
#ifdef SYS_fcntl64
  return Call(SYS_fcntl64, fd, F_GETFL, 0);
#else
  return Call(SYS_fcntl, fd, F_GETFL, 0);
#endif
}
inline int SetFlags(int fd, int flags) {
#ifdef SYS_fcntl64
  return Call(SYS_fcntl64, fd, F_SETFL, flags);
#else
  return Call(SYS_fcntl, fd, F_SETFL, flags);
#endif
}
inline void Write(int fd, const char* text, size_t length) {
  static_cast<void>(Call(SYS_write, fd, text, length));
}

}  // namespace radio::kernel

#endif  // RADIO_KERNEL_H_
