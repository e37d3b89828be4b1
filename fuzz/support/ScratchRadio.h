#pragma once

#include <bluetooth/bluetooth.h>
#include <bluetooth/rfcomm.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>

#include "fuzz/support/Contract.h"
#include "fuzz/support/ScratchFolder.h"

namespace fuzz {

/// A private virtual radio. Needs its library preloaded. Create one per process, before any socket.
class ScratchRadio {
 public:
  ScratchRadio() {
    ::setenv("VIRTUAL_RADIO_DIR", m_folder.path().c_str(), 1);
    ::setenv("VIRTUAL_RADIO_ADDRESS", kAddress, 1);
    const int probe = openSocket();
    require(probe >= 0, "the virtual radio is preloaded (LD_PRELOAD=.../libvirtualradio.so)");
    ::close(probe);
  }

  static constexpr const char* kAddress = "00:11:22:33:44:55";
  /// Opens an RFCOMM socket, to be closed by the caller.
  static int openSocket() {
    return ::socket(AF_BLUETOOTH, SOCK_STREAM | SOCK_CLOEXEC, BTPROTO_RFCOMM);
  }
  /// Address of a channel of this process.
  static sockaddr_rc place(std::uint8_t channel) {
    sockaddr_rc place{};
    place.rc_family = AF_BLUETOOTH;
    place.rc_bdaddr = {{0x55, 0x44, 0x33, 0x22, 0x11, 0x00}};
    place.rc_channel = channel;
    return place;
  }

 private:
  ScratchFolder m_folder;
};

}  // namespace fuzz
