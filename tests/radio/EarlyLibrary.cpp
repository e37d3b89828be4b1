// Uses a link in its constructor and prints the result.
#include <bluetooth/bluetooth.h>
#include <bluetooth/rfcomm.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

namespace {

bool makeLink(int& caller, int& called) {
  sockaddr_rc name = {};
  name.rc_family = AF_BLUETOOTH;
  socklen_t length = sizeof name;
  sockaddr* const generic = reinterpret_cast<sockaddr*>(&name);
  const int listener = socket(AF_BLUETOOTH, SOCK_STREAM, BTPROTO_RFCOMM);
  caller = socket(AF_BLUETOOTH, SOCK_STREAM, BTPROTO_RFCOMM);
  if (bind(listener, generic, length) != 0 || listen(listener, 1) != 0) return false;
  if (getsockname(listener, generic, &length) != 0) return false;
  name.rc_bdaddr = {{0x55, 0x44, 0x33, 0x22, 0x11, 0x00}};
  if (connect(caller, generic, length) != 0) return false;
  called = accept(listener, nullptr, nullptr);
  return called >= 0;
}

bool say(const char* text, size_t length) {
  return write(STDOUT_FILENO, text, length) == static_cast<ssize_t>(length);
}

[[gnu::constructor]] void onLoad() {
  int caller = -1;
  int called = -1;
  char card[5] = "";
  if (!makeLink(caller, called) || write(caller, "card", 4) != 4) return;
  close(caller);
  if (read(called, card, 4) != 4) return;
  const bool reset = read(called, card, 1) == -1 && errno == ECONNRESET;
  say("early: ", 7) && say(card, 4) && reset&& say(", then reset\n", 13);
}

}  // namespace
