#include "tests/openobex/FakeScript.h"

#include <chrono>
#include <utility>

namespace openobex::fake {

namespace {
constexpr std::chrono::milliseconds kIdle{10};
constexpr std::chrono::seconds kDeadline{30};
}  // namespace

Header nameHeader(std::string_view text, bool terminated) {
  std::string value;
  for (const char character : text) {
    value += '\0';
    value += character;
  }
  if (terminated) value.append(2, '\0');
  return {OBEX_HDR_NAME, value};
}

Header bodyHeader(std::string_view bytes) { return {OBEX_HDR_BODY, std::string(bytes)}; }

Header numberHeader(std::uint8_t identifier, std::uint32_t number) {
  std::string value;
  for (int shift = 24; shift >= 0; shift -= 8) {
    value += static_cast<char>(static_cast<std::uint8_t>(number >> shift));
  }
  return {identifier, value};
}

Script& Script::input(Input input) {
  const std::scoped_lock lock(m_mutex);
  m_inputs.push_back(std::move(input));
  m_changed.notify_all();
  return *this;
}

Script& Script::deliver(Event event) {
  Input entry;
  entry.events.push_back(std::move(event));
  return input(std::move(entry));
}

Script& Script::request(int command, std::vector<Header> headers) {
  Input entry;
  entry.request = Event{.command = command, .headers = std::move(headers)};
  return input(std::move(entry));
}

Script& Script::answer(int response) {
  Input entry;
  entry.answer = response;
  return input(std::move(entry));
}

Script& Script::timeOut() { return fail(0); }

Script& Script::fail(int result) {
  Input entry;
  entry.result = result;
  return input(std::move(entry));
}

Script& Script::linkError(int result, bool withoutObject) {
  Input entry;
  entry.events.push_back({.event = OBEX_EV_LINKERR, .withoutObject = withoutObject});
  entry.result = result;
  return input(std::move(entry));
}

Script& Script::call(std::function<void()> hook) {
  Input entry;
  entry.hook = std::move(hook);
  return input(std::move(entry));
}

Script& Script::block() {
  Input entry;
  entry.blocks = true;
  return input(std::move(entry));
}

void Script::unblock() {
  const std::scoped_lock lock(m_mutex);
  ++m_unblocks;
  m_changed.notify_all();
}

bool Script::waitUntilBlocked() {
  std::unique_lock lock(m_mutex);
  return m_changed.wait_for(lock, kDeadline, [this] { return m_blocked > 0; });
}

bool Script::waitUntilTaken() {
  std::unique_lock lock(m_mutex);
  return m_changed.wait_for(lock, kDeadline, [this] { return m_inputs.empty(); });
}

void Script::answerAlways(int response) {
  const std::scoped_lock lock(m_mutex);
  m_answerAlways = response;
  m_changed.notify_all();
}

std::optional<Input> Script::take(bool requestInFlight) {
  std::unique_lock lock(m_mutex);
  const auto ready = [&] {
    return !m_inputs.empty() || (requestInFlight && m_answerAlways.has_value());
  };
  if (!m_changed.wait_for(lock, kIdle, ready)) return std::nullopt;
  Input taken;
  if (m_inputs.empty()) {
    taken.answer = m_answerAlways;
    return taken;
  }
  taken = std::move(m_inputs.front());
  m_inputs.pop_front();
  m_changed.notify_all();
  if (taken.blocks) waitForUnblock(lock);
  return taken;
}

void Script::waitForUnblock(std::unique_lock<std::mutex>& lock) {
  ++m_blocked;
  m_changed.notify_all();
  m_changed.wait(lock, [this] { return m_unblocks > 0; });
  --m_blocked;
  --m_unblocks;
}

}  // namespace openobex::fake
