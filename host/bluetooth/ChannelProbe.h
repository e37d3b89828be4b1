#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace host {

/// What this machine's Bluetooth has to say of an RFCOMM channel.
struct ChannelUse {
  bool bluetooth = false;            ///< there are RFCOMM sockets at all
  std::string problem;               ///< when there aren't: why
  bool takenForAll = false;          ///< somebody listens on it, on every adapter
  std::vector<std::string> takenAt;  ///< addresses of adapters where somebody listens on it
};

/// Asks the kernel, without ever listening, who holds `channel`: on every adapter, and on each of
/// those whose addresses are given.
ChannelUse probeChannel(int channel, const std::vector<std::string>& adapters);

/// "bluetoothd (process 123)" for each process but `except` that has an RFCOMM socket, as far as
/// this process may look. What their channels are only root can find out.
std::vector<std::string> rfcommUsers(pid_t except);

}  // namespace host
