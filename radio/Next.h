#pragma once

/// The next definitions of the interposed functions: the C library's, or those of a library
/// preloaded after this one.
///
/// Each is looked up on first use, which may be in another library's constructor; findAll() looks
/// up the rest at load time, because dlsym() isn't async-signal-safe.

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>

/// Called by programs built with _FORTIFY_SOURCE.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
ssize_t __read_chk(int fd, void* buffer, size_t length, size_t size);
ssize_t __recv_chk(int fd, void* buffer, size_t length, size_t size, int flags);
ssize_t __recvfrom_chk(int fd, void* buffer, size_t length, size_t size, int flags,
                       sockaddr* address, socklen_t* addressLength);
}
// NOLINTEND(bugprone-reserved-identifier)

namespace radio::next {

template <typename Type>
class Function {
 public:
  explicit constexpr Function(const char* name) : m_name(name) {}

  template <typename... Arguments>
  auto operator()(Arguments... arguments) {
    const Type function = find();
    // A program can't have been linked against a function that this C library lacks.
    if (function == nullptr) std::abort();
    return function(arguments...);
  }

  Type find() {
    Type function = m_function.load(std::memory_order_acquire);
    if (function != nullptr) return function;
    function = reinterpret_cast<Type>(dlsym(RTLD_NEXT, m_name));
    m_function.store(function, std::memory_order_release);
    return function;
  }

 private:
  const char* const m_name;
  std::atomic<Type> m_function{nullptr};
};

// clang-format off
#define RADIO_NEXT_FUNCTIONS(X) \
  X(__read_chk) X(__recv_chk) X(__recvfrom_chk) X(accept) X(accept4) X(bind) X(close) X(connect) \
  X(dup) X(dup2) X(dup3) X(fcntl) X(fcntl64) X(getpeername) X(getsockname) X(getsockopt) \
  X(listen) X(read) X(readv) X(recv) X(recvfrom) X(recvmmsg) X(recvmsg) X(send) X(sendmmsg) \
  X(sendmsg) X(sendto) X(setsockopt) X(shutdown) X(socket) X(write) X(writev)
// clang-format on

// decltype in a template argument drops the function's attributes, which don't matter here.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wignored-attributes"
#define RADIO_NEXT(name) inline constinit Function<decltype(&::name)> name(#name);
RADIO_NEXT_FUNCTIONS(RADIO_NEXT)
#undef RADIO_NEXT
#pragma GCC diagnostic pop

inline void findAll() {
#define RADIO_FIND(name) name.find();
  RADIO_NEXT_FUNCTIONS(RADIO_FIND)
#undef RADIO_FIND
}

}  // namespace radio::next
