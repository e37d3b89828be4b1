#include "radio/next.h"

namespace radio::next {
namespace {

template <typename... Functions>
void Find(Functions&... functions) {
  (functions.Find(), ...);
}

[[gnu::constructor]] void OnLoad() { FindAll(); }

}  // namespace

void FindAll() {
  Find(accept, accept4, bind, close, connect, dup, dup2, dup3, fcntl, fcntl64, getpeername,
       getsockname, getsockopt, listen);
  Find(read, readv, recv, recvfrom, recvmmsg, recvmsg, __read_chk, __recv_chk, __recvfrom_chk);
  Find(send, sendmmsg, sendmsg, sendto, setsockopt, shutdown, socket, write, writev);
}

}  // namespace radio::next
