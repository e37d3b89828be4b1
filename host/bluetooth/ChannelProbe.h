#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace host {

struct ChannelUse {
  bool bluetooth = false;  ///< the kernel has RFCOMM sockets
  std::string problem;     ///< if it doesn't: why
  bool taken = false;      ///< a socket, of whatever process, is bound to the channel
};

/// Asks the kernel whether an RFCOMM channel is taken on the adapter with this address, or, if
/// `adapter` is empty, for all adapters at once. Never listens.
ChannelUse probeChannel(int channel, const std::string& adapter = {});

/// A process that listens on an RFCOMM channel.
struct ChannelHolder {
  std::string program;
  pid_t process = 0;
  /// False if all that is known is that it has an RFCOMM socket: only a process that may trace
  /// others, usually root's, can ask on which channel a socket listens.
  bool certain = false;
};

/// Finds the processes, other than `phone`, that listen on the channel, on the virtual radio that
/// `phone` is on or else on the kernel's RFCOMM sockets. Sees processes of the same user only,
/// unless it runs as root. If one is certain, the others are left out.
std::vector<ChannelHolder> findChannelHolders(int channel, pid_t phone);

}  // namespace host
