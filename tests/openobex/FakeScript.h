#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "openobex/openobex.h"

namespace openobex::fake {

/// A header of a received object, with its value as sent (numbers big-endian). As in the library,
/// the pointer to an empty value is null.
struct Header {
  std::uint8_t identifier;
  std::string value{};
};

/// A NAME header; each byte of `text` becomes a UTF-16 unit.
Header nameHeader(std::string_view text, bool terminated = true);
/// A BODY header (0x48) with a whole body.
Header bodyHeader(std::string_view bytes);
/// A header with a 4-byte number, such as LENGTH.
Header numberHeader(std::uint8_t identifier, std::uint32_t number);

/// One call of the event callback.
struct Event {
  int event = OBEX_EV_PROGRESS;
  int command = 0;
  int response = 0;
  int mode = OBEX_MODE_SERVER;
  /// What `OBEX_ObjectGetNextHeader` returns during this event.
  std::vector<Header> headers{};
  /// Pass a null object to the callback.
  bool withoutObject = false;
};

/// What one call of `OBEX_HandleInput` does, in this order.
struct Input {
  bool blocks = false;
  std::function<void()> hook{};
  std::vector<Event> events{};
  /// See `Script::request`.
  std::optional<Event> request{};
  /// See `Script::answer`.
  std::optional<int> answer{};
  int result = 1;
};

/// What the calls of `OBEX_HandleInput` do, one entry per call. A call without an entry waits
/// briefly for one and then returns 0, a time-out. Thread-safe; may be used in callbacks and hooks.
class Script {
 public:
  /// The general case of those below.
  Script& input(Input input);
  /// One event; returns 1.
  Script& deliver(Event event);
  /// A one-packet request to a server: REQHINT, REQCHECK with all headers but the body, REQ with
  /// all, PROGRESS, REQDONE, in one call. The response is CONTINUE/SUCCESS before REQHINT. When
  /// refused at REQHINT or REQCHECK, PROGRESS without headers and REQDONE follow at once.
  Script& request(int command, std::vector<Header> headers = {});
  /// The response to the client's request in flight: REQDONE with its command and object;
  /// returns 1. Without a request in flight the test fails.
  Script& answer(int response);
  /// Returns 0 without waiting.
  Script& timeOut();
  /// Returns `result` without an event.
  Script& fail(int result = -1);
  /// LINKERR, with a null object or the current one; returns `result`.
  Script& linkError(int result = -1, bool withoutObject = true);
  /// Calls `hook`; returns 1.
  Script& call(std::function<void()> hook);
  /// Blocks until `unblock`; returns 1.
  Script& block();

  /// Releases the blocked call, or the next that blocks.
  void unblock();
  /// Waits until a call is blocked; false after a deadline.
  bool waitUntilBlocked();
  /// Waits until all entries are taken; false after a deadline.
  bool waitUntilTaken();
  /// Whenever the script has no entry, answers the request in flight with `response`.
  void answerAlways(int response);

  /// For the fake: the next entry, or none after a brief wait.
  std::optional<Input> take(bool requestInFlight);

 private:
  void waitForUnblock(std::unique_lock<std::mutex>& lock);

  std::mutex m_mutex;
  std::condition_variable m_changed;
  std::deque<Input> m_inputs;
  std::optional<int> m_answerAlways;
  int m_blocked = 0;
  int m_unblocks = 0;
};

}  // namespace openobex::fake
