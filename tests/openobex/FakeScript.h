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

/// A header of a received object: its identifier and its value as it is on the wire, numbers in
/// big-endian order. An empty value is yielded with a null pointer, as the library does.
struct Header {
  std::uint8_t identifier;
  std::string value{};
};

/// A NAME header: the text's bytes as UTF-16, with the terminator unless told otherwise.
Header nameHeader(std::string_view text, bool terminated = true);
/// A BODY header (0x48), as whole bodies are yielded.
Header bodyHeader(std::string_view bytes);
/// A header whose value is a 4-byte number, such as LENGTH.
Header numberHeader(std::uint8_t identifier, std::uint32_t number);

/// One call of the event callback.
struct Event {
  int event = OBEX_EV_PROGRESS;
  int command = 0;
  int response = 0;
  int mode = OBEX_MODE_SERVER;
  /// What `OBEX_ObjectGetNextHeader` yields in this order during this event, and nothing after.
  std::vector<Header> headers{};
  /// The callback gets a null object.
  bool withoutObject = false;
};

/// What one call of `OBEX_HandleInput` does: wait to be unblocked, the hook, the events, the
/// result.
struct Input {
  bool blocks = false;
  std::function<void()> hook{};
  std::vector<Event> events{};
  /// A whole request of one packet, played as the library does it; see `Script::request`.
  std::optional<Event> request{};
  /// The answer to the request in flight; see `Script::answer`.
  std::optional<int> answer{};
  int result = 1;
};

/// What the calls of `OBEX_HandleInput` do, one entry for each call, in order. A call that finds no
/// entry waits a little for one and then returns 0, a time-out.
///
/// Threads: everything may be called from any thread, also from a callback or a hook.
class Script {
 public:
  /// The general case; the others are short-hands.
  Script& input(Input input);
  /// One event; returns 1.
  Script& deliver(Event event);
  /// A request of one packet on a server: REQHINT, REQCHECK with all headers but the body, REQ with
  /// all, PROGRESS, REQDONE, in one call. Before REQHINT the answer is set to CONTINUE/SUCCESS. A
  /// refusal at REQHINT or REQCHECK leads to PROGRESS without headers and REQDONE at once.
  Script& request(int command, std::vector<Header> headers = {});
  /// The peer's answer to the client's request in flight: REQDONE with that request's command and
  /// object; returns 1. Without a request in flight the test fails.
  Script& answer(int response);
  /// Returns 0 without waiting.
  Script& timeOut();
  /// Returns this without an event.
  Script& fail(int result = -1);
  /// LINKERR, with a null object unless one is in hand; returns `result`.
  Script& linkError(int result = -1, bool withoutObject = true);
  /// Calls the function inside `OBEX_HandleInput`; returns 1.
  Script& call(std::function<void()> hook);
  /// The call stays inside until `unblock`; returns 1.
  Script& block();

  /// Lets the blocked call go on, or the next one that blocks.
  void unblock();
  /// Waits until a call is blocked; false when none was within the deadline.
  bool waitUntilBlocked();
  /// Waits until all entries have been taken; false when they weren't within the deadline.
  bool waitUntilTaken();
  /// From now on a request in flight is answered like this whenever the script has no entry.
  void answerAlways(int response);

  /// For the fake: the next entry, or none when there was none for a while.
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
