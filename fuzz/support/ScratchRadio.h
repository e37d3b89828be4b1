#pragma once

#include <bluetooth/bluetooth.h>
#include <bluetooth/rfcomm.h>

#include <cstdint>

#include "fuzz/support/ScratchFolder.h"

namespace fuzz {

/// A virtual radio of this process's own, and the process's one address on it. The radio's library
/// must have been preloaded. One for each process, before the first socket.
class ScratchRadio {
 public:
  ScratchRadio();

  static constexpr const char* kAddress = "00:11:22:33:44:55";
  /// An RFCOMM socket, closed by the caller.
  static int openSocket();
  /// Where the channel of this process is to be found.
  static sockaddr_rc place(std::uint8_t channel);

 private:
  ScratchFolder m_folder;
};

}  // namespace fuzz
