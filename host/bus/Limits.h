#pragma once

#include <cstddef>

namespace host {

/// No message larger than this goes out: D-Bus's system bus, and a bus without limits of its own,
/// close the connection of whoever sends more than 32 MiB. The rest is left for the message's head.
inline constexpr std::size_t kMaxBody = (std::size_t{32} << 20) - 4096;

/// Calls that wait for the framework thread: how many, and the bytes of their bodies together. A
/// single call may be larger.
inline constexpr std::size_t kMaxQueuedCalls = 64;
inline constexpr std::size_t kMaxQueuedBytes = std::size_t{64} << 20;

/// Processes that may be observers at a time.
inline constexpr std::size_t kMaxObservers = 64;

/// What one observer, and all of them together, may leave unread, in bytes, before further
/// notifications are dropped. An observer is asked whether it has read them after so many bytes or
/// messages, and one with no more than that unread always gets its next one.
inline constexpr std::size_t kMaxUnreadOfOne = std::size_t{48} << 20;
inline constexpr std::size_t kMaxUnreadOfAll = std::size_t{96} << 20;
inline constexpr std::size_t kAskAfterBytes = std::size_t{1} << 20;
inline constexpr std::size_t kAskAfterMessages = 256;

/// What a message costs the bus beside its body.
inline constexpr std::size_t kMessageOverhead = 512;

/// Of so many notifications it is remembered what they were, for the log, should the bus refuse
/// them.
inline constexpr std::size_t kRememberedNotifications = 256;

}  // namespace host
