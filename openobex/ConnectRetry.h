#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace openobex {

/// The second try at a CONNECT that was refused for its Who header. That header names the service
/// that is wanted, and there are receivers that take cards from anyone who names none but know no
/// name except their own: the desktops' receiver of objects answers Forbidden, and so to every PUT
/// after it. To such an answer, and to no other refusal, the same CONNECT without Who is the next
/// thing to send, if the host wants it. A link has one second try, so a peer that refuses both is
/// not asked again.
///
/// Does no input or output. Threads: one object belongs to one link and its thread.
class ConnectRetry {
 public:
  /// Takes note of one whole packet of ours that goes out.
  void sent(const std::uint8_t* packet, std::size_t length);
  /// Takes note of the peer's answer to it, a code without the final bit. Returns the packet that
  /// is to go out now, in which case the answer is nobody else's affair; empty when the answer is
  /// to be passed on.
  std::vector<std::uint8_t> answered(int code);
  /// The request in flight was given up: whatever the answer, it is not tried again.
  void giveUp() { m_second.clear(); }

 private:
  std::vector<std::uint8_t> m_second;  ///< the CONNECT in flight without Who; empty for none
  bool m_goesOn = false;               ///< the last packet of ours was not its request's last
  bool m_used = false;
};

}  // namespace openobex
