// socket() and shutdown().
#include <bluetooth/bluetooth.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "radio/complaint.h"
#include "radio/descriptors.h"
#include "radio/folder.h"
#include "radio/kernel.h"
#include "radio/rfcomm.h"
#include "radio/settings.h"

namespace radio {
namespace {

int EnterOwnAdapter() {
  bdaddr_t own = {};
  if (ReadOwnAddress(&own) != OwnAddress::kGood) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): only read
    Complain(kAddressVariable, std::getenv(kAddressVariable), "no Bluetooth address");
    return -EAFNOSUPPORT;
  }
  Folder folder;
  const int error = folder.error() != 0 ? folder.error() : folder.EnterAdapter(own);
  if (error != 0) Complain("the folder", folder.path(), strerrordesc_np(-error));
  return error;
}

}  // namespace

bool IsRadioSocket(int family, int type, int protocol) {
  constexpr int kFlags = SOCK_NONBLOCK | SOCK_CLOEXEC;
  if (family != AF_BLUETOOTH || (type & ~kFlags) != SOCK_STREAM || protocol != BTPROTO_RFCOMM) {
    return false;
  }
  bdaddr_t own = {};
  return ReadOwnAddress(&own) != OwnAddress::kNone;
}

int Open(int type) {
  const int entered = EnterOwnAdapter();
  if (entered != 0) return entered;
  const int fd = kernel::Socket(AF_UNIX, type, 0);
  if (fd < 0) return fd;
  Forget(fd);
  const int marked = WriteMark(fd, Mark{});
  if (marked == 0) return fd;
  kernel::Close(fd);
  return marked;
}

// RFCOMM knows no half-closed links: whatever side is named, the whole link ends. A listener gives
// up its channel.
int Shutdown(int fd, Mark mark) {
  const bool listened = mark.state == State::kListening;
  mark.state = State::kShutDown;
  const int marked = WriteMark(fd, mark);
  if (marked != 0) return marked;
  Name name;
  Place place;
  if (listened && LocalNameOf(fd, &name) == 0 && ReadPlace(name, &place)) {
    Folder folder;
    if (folder.error() == 0) folder.Remove(place);
  }
  return kernel::Shutdown(fd, SHUT_RDWR);
}

}  // namespace radio
