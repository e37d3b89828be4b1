// socket() and shutdown().
#include <bluetooth/bluetooth.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "radio/Complaint.h"
#include "radio/Descriptors.h"
#include "radio/Folder.h"
#include "radio/Kernel.h"
#include "radio/Rfcomm.h"
#include "radio/Settings.h"

namespace radio {
namespace {

int enterOwnAdapter() {
  bdaddr_t own = {};
  if (readOwnAddress(&own) != OwnAddress::kGood) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): only read
    complain(kAddressVariable, std::getenv(kAddressVariable), "no Bluetooth address");
    return -EAFNOSUPPORT;
  }
  Folder folder;
  const int error = folder.error() != 0 ? folder.error() : folder.enterAdapter(own);
  if (error != 0) complain("the folder", folder.path(), strerrordesc_np(-error));
  return error;
}

}  // namespace

bool isRadioSocket(int family, int type, int protocol) {
  constexpr int kFlags = SOCK_NONBLOCK | SOCK_CLOEXEC;
  if (family != AF_BLUETOOTH || (type & ~kFlags) != SOCK_STREAM || protocol != BTPROTO_RFCOMM) {
    return false;
  }
  bdaddr_t own = {};
  return readOwnAddress(&own) != OwnAddress::kNone;
}

int openSocket(int type) {
  const int entered = enterOwnAdapter();
  if (entered != 0) return entered;
  const int fd = kernel::socket(AF_UNIX, type, 0);
  if (fd < 0) return fd;
  forget(fd);
  const int marked = writeState(fd, SocketState{});
  if (marked == 0) return fd;
  kernel::close(fd);
  return marked;
}

// RFCOMM knows no half-closed links: whatever side is named, the whole link ends. A listener gives
// up its channel.
int shutDownLink(int fd, SocketState state) {
  const bool listened = state.state == State::kListening;
  state.state = State::kShutDown;
  const int marked = writeState(fd, state);
  if (marked != 0) return marked;
  Name name;
  Place place;
  if (listened && localNameOf(fd, &name) == 0 && readPlace(name, &place)) {
    Folder folder;
    if (folder.error() == 0) folder.remove(place);
  }
  return kernel::shutdown(fd, SHUT_RDWR);
}

}  // namespace radio
