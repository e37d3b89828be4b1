#include "fuzz/support/ScratchRadio.h"

#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

#include "fuzz/support/Contract.h"

namespace fuzz {

ScratchRadio::ScratchRadio() {
  ::setenv("VIRTUAL_RADIO_DIR", m_folder.path().c_str(), 1);
  ::setenv("VIRTUAL_RADIO_ADDRESS", kAddress, 1);
  const int probe = openSocket();
  require(probe >= 0, "the radio is there (LD_PRELOAD=.../libvirtualradio.so)");
  ::close(probe);
}

int ScratchRadio::openSocket() {
  return ::socket(AF_BLUETOOTH, SOCK_STREAM | SOCK_CLOEXEC, BTPROTO_RFCOMM);
}

sockaddr_rc ScratchRadio::place(std::uint8_t channel) {
  sockaddr_rc place{};
  place.rc_family = AF_BLUETOOTH;
  place.rc_bdaddr = {{0x55, 0x44, 0x33, 0x22, 0x11, 0x00}};
  place.rc_channel = channel;
  return place;
}

}  // namespace fuzz
