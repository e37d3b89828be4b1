#include "radio/Next.h"

namespace radio::next {
namespace {

template <typename... Functions>
void find(Functions&... functions) {
  (functions.find(), ...);
}

[[gnu::constructor]] void onLoad() { findAll(); }

}  // namespace

void findAll() {
  find(accept, accept4, bind, close, connect, dup, dup2, dup3, fcntl, fcntl64, getpeername,
       getsockname, getsockopt, listen);
  find(read, readv, recv, recvfrom, recvmmsg, recvmsg, __read_chk, __recv_chk, __recvfrom_chk);
  find(send, sendmmsg, sendmsg, sendto, setsockopt, shutdown, socket, write, writev);
}

}  // namespace radio::next
