#include "tests/openobex/FakeOpenObex.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "openobex/Headers.h"

namespace openobex::fake {

namespace {

constexpr std::chrono::seconds kDeadline{30};
constexpr int kBusy = -16;

std::atomic<FakeOpenObex*> g_current{nullptr};

std::string addressText(const bdaddr_t& address) {
  std::array<char, 18> text{};
  std::snprintf(text.data(), text.size(), "%02X:%02X:%02X:%02X:%02X:%02X", address.b[5],
                address.b[4], address.b[3], address.b[2], address.b[1], address.b[0]);
  return text.data();
}

std::string wireValue(std::uint8_t identifier, obex_headerdata_t value, std::uint32_t size) {
  switch (identifier & OBEX_HDR_TYPE_MASK) {
    case OBEX_HDR_TYPE_UINT8:
      return std::string(1, static_cast<char>(value.bq1));
    case OBEX_HDR_TYPE_UINT32:
      return numberHeader(identifier, value.bq4).value;
    default:
      if (value.bs == nullptr) return {};
      return {reinterpret_cast<const char*>(value.bs), size};
  }
}

}  // namespace

/// A received or a request object. Owns the header values that it returned.
struct FakeOpenObex::Object {
  int number = 0;
  int command = 0;
  bool alive = true;
  bool callersOwn = false;
  std::vector<Header> added;
  std::vector<Header> yields;
  std::size_t next = 0;
  std::vector<std::unique_ptr<std::uint8_t[]>> values;
  std::pair<int, int> answer{OBEX_RSP_CONTINUE, OBEX_RSP_SUCCESS};
};

struct FakeOpenObex::Handle {
  int number = 0;
  bool alive = true;
  bool isServer = false;
  EventCallback callback = nullptr;
  void* userData = nullptr;
  Object* received = nullptr;
  Object* requested = nullptr;
};

bool FakeOpenObex::Failure::strikes() {
  if (times == 0) return false;
  if (times != kForever) --times;
  return true;
}

std::string Call::text() const {
  std::string result = function + "(";
  const auto add = [&](const std::string& part) {
    if (result.back() != '(') result += ", ";
    result += part;
  };
  if (handle != 0) add("handle " + std::to_string(handle));
  if (object != 0) add("object " + std::to_string(object));
  for (const std::int64_t number : numbers) add(std::to_string(number));
  return result + ")";
}

FakeOpenObex::FakeOpenObex() {
  if (g_current.exchange(this) != nullptr) ADD_FAILURE() << "two FakeOpenObex at a time";
}

FakeOpenObex::~FakeOpenObex() { g_current.store(nullptr); }

FakeOpenObex& FakeOpenObex::current() {
  FakeOpenObex* fake = g_current.load();
  if (fake == nullptr) {
    std::fputs("OBEX function called without a FakeOpenObex\n", stderr);
    std::abort();
  }
  return *fake;
}

void FakeOpenObex::setFailure(Failure& failure, int times, int result) {
  const std::scoped_lock lock(m_mutex);
  failure = {times, result};
}

void FakeOpenObex::failInit(int times) { setFailure(m_init, times, -1); }
void FakeOpenObex::failRegister(int times, int result) { setFailure(m_register, times, result); }
void FakeOpenObex::failConnect(int times, int result) { setFailure(m_connect, times, result); }
void FakeOpenObex::failObjectNew(int times) { setFailure(m_objectNew, times, -1); }
void FakeOpenObex::failAddHeader(int times, int result) { setFailure(m_addHeader, times, result); }
void FakeOpenObex::failRequest(int times, int result) { setFailure(m_request, times, result); }

std::vector<Call> FakeOpenObex::calls() const {
  const std::scoped_lock lock(m_mutex);
  return m_calls;
}

std::vector<Call> FakeOpenObex::calls(const std::string& function) const {
  const std::scoped_lock lock(m_mutex);
  std::vector<Call> result;
  std::copy_if(m_calls.begin(), m_calls.end(), std::back_inserter(result),
               [&](const Call& call) { return call.function == function; });
  return result;
}

std::vector<Header> FakeOpenObex::headersOfCommand(int command) const {
  const std::scoped_lock lock(m_mutex);
  std::vector<Header> result;
  for (const auto& object : m_objects) {
    if (object->command != command) continue;
    result.insert(result.end(), object->added.begin(), object->added.end());
  }
  return result;
}

std::vector<std::pair<int, int>> FakeOpenObex::responses() const {
  const std::scoped_lock lock(m_mutex);
  return m_responses;
}

int FakeOpenObex::liveHandles() const {
  const std::scoped_lock lock(m_mutex);
  return static_cast<int>(std::count_if(m_handles.begin(), m_handles.end(),
                                        [](const auto& handle) { return handle->alive; }));
}

int FakeOpenObex::liveObjects() const {
  const std::scoped_lock lock(m_mutex);
  return static_cast<int>(std::count_if(m_objects.begin(), m_objects.end(), [](const auto& object) {
    return object->alive && object->callersOwn;
  }));
}

void FakeOpenObex::forgetCalls() {
  const std::scoped_lock lock(m_mutex);
  m_calls.clear();
  m_responses.clear();
}

bool FakeOpenObex::waitForCalls(const std::string& function, int times) const {
  std::unique_lock lock(m_mutex);
  return m_called.wait_for(lock, kDeadline, [&] {
    return std::count_if(m_calls.begin(), m_calls.end(),
                         [&](const Call& call) { return call.function == function; }) >= times;
  });
}

bool FakeOpenObex::waitUntil(const std::function<bool()>& condition) const {
  const auto end = std::chrono::steady_clock::now() + kDeadline;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::unique_lock lock(m_mutex);
    m_called.wait_for(lock, std::chrono::milliseconds(5));
  }
  return true;
}

void FakeOpenObex::record(Call call) {
  if (onCall) onCall(call);
  m_calls.push_back(std::move(call));
  m_called.notify_all();
}

FakeOpenObex::Handle* FakeOpenObex::findHandle(void** handle) {
  for (const auto& known : m_handles) {
    if (reinterpret_cast<void**>(known.get()) != handle) continue;
    if (!known->alive) ADD_FAILURE() << "handle used after OBEX_Cleanup";
    return known.get();
  }
  ADD_FAILURE() << "not a handle from OBEX_Init";
  std::abort();
}

FakeOpenObex::Object* FakeOpenObex::findObject(void** object) {
  for (const auto& known : m_objects) {
    if (reinterpret_cast<void**>(known.get()) != object) continue;
    if (!known->alive) ADD_FAILURE() << "object used after its end";
    return known.get();
  }
  ADD_FAILURE() << "not an OBEX object";
  std::abort();
}

FakeOpenObex::Object* FakeOpenObex::makeObject(Handle& handle, int command) {
  if (!handle.alive) ADD_FAILURE() << "object of a handle after OBEX_Cleanup";
  m_objects.push_back(std::make_unique<Object>());
  Object* object = m_objects.back().get();
  object->number = static_cast<int>(m_objects.size());
  object->command = command;
  return object;
}

void** FakeOpenObex::init(int transport, EventCallback callback, unsigned int flags) {
  const std::scoped_lock lock(m_mutex);
  record({.function = "OBEX_Init", .numbers = {transport, flags}});
  if (m_init.strikes()) return nullptr;
  m_handles.push_back(std::make_unique<Handle>());
  m_handles.back()->number = static_cast<int>(m_handles.size());
  m_handles.back()->callback = callback;
  return reinterpret_cast<void**>(m_handles.back().get());
}

void FakeOpenObex::cleanup(void** handle) {
  const std::scoped_lock lock(m_mutex);
  Handle* known = handle == nullptr ? nullptr : findHandle(handle);
  record({.function = "OBEX_Cleanup", .handle = known == nullptr ? 0 : known->number});
  if (known == nullptr) return;
  known->alive = false;
  if (known->received != nullptr) known->received->alive = false;
  if (known->requested != nullptr) known->requested->alive = false;
}

void FakeOpenObex::setUserData(void** handle, void* data) {
  const std::scoped_lock lock(m_mutex);
  Handle* known = findHandle(handle);
  record({.function = "OBEX_SetUserData", .handle = known->number});
  known->userData = data;
}

void* FakeOpenObex::userData(void** handle) {
  const std::scoped_lock lock(m_mutex);
  Handle* known = findHandle(handle);
  record({.function = "OBEX_GetUserData", .handle = known->number});
  return known->userData;
}

int FakeOpenObex::registerServer(void** handle, const bdaddr_t* source, std::uint8_t channel) {
  const std::scoped_lock lock(m_mutex);
  Handle* known = findHandle(handle);
  record({.function = "BtOBEX_ServerRegister",
          .handle = known->number,
          .numbers = {channel},
          .bytes = source == nullptr ? "" : addressText(*source)});
  if (m_register.strikes()) return m_register.result;
  known->isServer = true;
  return 0;
}

int FakeOpenObex::connect(void** handle, const bdaddr_t* destination, std::uint8_t channel) {
  const std::scoped_lock lock(m_mutex);
  Handle* known = findHandle(handle);
  record({.function = "BtOBEX_TransportConnect",
          .handle = known->number,
          .numbers = {channel},
          .bytes = addressText(*destination)});
  return m_connect.strikes() ? m_connect.result : 0;
}

int FakeOpenObex::handleInput(void** handle, int timeout) {
  bool isServer = false;
  bool requestInFlight = false;
  {
    const std::scoped_lock lock(m_mutex);
    Handle* known = findHandle(handle);
    record({.function = "OBEX_HandleInput", .handle = known->number, .numbers = {timeout}});
    isServer = known->isServer;
    requestInFlight = known->requested != nullptr;
  }
  const std::optional<Input> input = (isServer ? m_server : m_client).take(requestInFlight);
  return input.has_value() ? play(handle, *input) : 0;
}

int FakeOpenObex::play(void** handle, const Input& input) {
  if (input.hook) input.hook();
  for (const Event& event : input.events) playEvent(handle, event);
  if (input.request.has_value()) playRequest(handle, *input.request);
  if (input.answer.has_value()) playAnswer(handle, *input.answer);
  return input.result;
}

void FakeOpenObex::playEvent(void** handle, const Event& event) {
  EventCallback callback = nullptr;
  void** object = nullptr;
  {
    const std::scoped_lock lock(m_mutex);
    Handle* known = findHandle(handle);
    callback = known->callback;
    Object*& current = event.mode == OBEX_MODE_SERVER ? known->received : known->requested;
    const bool begins = event.event == OBEX_EV_REQHINT;
    if (!event.withoutObject && (current == nullptr || begins)) {
      if (current != nullptr) current->alive = false;
      current = makeObject(*known, event.command);
    }
    if (!event.withoutObject) {
      current->yields = event.headers;
      current->next = 0;
      object = reinterpret_cast<void**>(current);
    }
  }
  callback(handle, object, event.mode, event.event, event.command, event.response);
}

bool FakeOpenObex::refused(void** handle) {
  const std::scoped_lock lock(m_mutex);
  const std::pair<int, int> answer = findHandle(handle)->received->answer;
  return answer.first != OBEX_RSP_CONTINUE && answer.first != OBEX_RSP_SUCCESS;
}

void FakeOpenObex::playRequest(void** handle, const Event& request) {
  Event event = request;
  event.headers.clear();
  const auto playAs = [&](int kind) {
    event.event = kind;
    playEvent(handle, event);
  };
  playAs(OBEX_EV_REQHINT);
  if (!refused(handle)) {
    std::copy_if(request.headers.begin(), request.headers.end(), std::back_inserter(event.headers),
                 [](const Header& header) { return header.identifier != OBEX_HDR_BODY; });
    playAs(OBEX_EV_REQCHECK);
    if (!refused(handle)) {
      event.headers = request.headers;
      playAs(OBEX_EV_REQ);
    }
    event.headers.clear();
  }
  playAs(OBEX_EV_PROGRESS);
  playAs(OBEX_EV_REQDONE);
}

void FakeOpenObex::playAnswer(void** handle, int response) {
  Event event{.event = OBEX_EV_REQDONE, .response = response, .mode = OBEX_MODE_CLIENT};
  {
    const std::scoped_lock lock(m_mutex);
    Handle* known = findHandle(handle);
    if (known->requested == nullptr) {
      ADD_FAILURE() << "response without a request in flight";
      return;
    }
    event.command = known->requested->command;
  }
  playEvent(handle, event);
  const std::scoped_lock lock(m_mutex);
  Handle* known = findHandle(handle);
  if (known->requested != nullptr) known->requested->alive = false;
  known->requested = nullptr;
}

void** FakeOpenObex::newObject(void** handle, std::uint8_t command) {
  const std::scoped_lock lock(m_mutex);
  Handle* known = findHandle(handle);
  record({.function = "OBEX_ObjectNew", .handle = known->number, .numbers = {command}});
  if (m_objectNew.strikes()) return nullptr;
  Object* object = makeObject(*known, command);
  object->callersOwn = true;
  return reinterpret_cast<void**>(object);
}

int FakeOpenObex::deleteObject(void** handle, void** object) {
  const std::scoped_lock lock(m_mutex);
  if (object == nullptr) return -1;
  Object* known = findObject(object);
  record({.function = "OBEX_ObjectDelete",
          .handle = findHandle(handle)->number,
          .object = known->number});
  if (!known->callersOwn)
    ADD_FAILURE() << "OBEX_ObjectDelete of an object that the caller doesn't own";
  known->alive = false;
  return 0;
}

int FakeOpenObex::addHeader(void** handle, void** object, std::uint8_t identifier,
                            obex_headerdata_t value, std::uint32_t size, unsigned int flags) {
  const std::scoped_lock lock(m_mutex);
  Call call{.function = "OBEX_ObjectAddHeader",
            .handle = findHandle(handle)->number,
            .object = object == nullptr ? 0 : findObject(object)->number,
            .numbers = {identifier, size, flags}};
  const bool possible = object != nullptr && isPossibleHeaderLength(identifier, size);
  if (possible) call.bytes = wireValue(identifier, value, size);
  const std::string bytes = call.bytes;
  record(std::move(call));
  if (m_addHeader.strikes()) return m_addHeader.result;
  if (!possible) return -1;
  findObject(object)->added.push_back({identifier, bytes});
  return 1;
}

int FakeOpenObex::nextHeader(void** handle, void** object, std::uint8_t* identifier,
                             obex_headerdata_t* value, std::uint32_t* size) {
  const std::scoped_lock lock(m_mutex);
  findHandle(handle);
  Object* known = findObject(object);
  if (known->next == known->yields.size()) return 0;
  const Header& header = known->yields[known->next++];
  const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(header.value.at(i)); };
  *identifier = header.identifier;
  *size = static_cast<std::uint32_t>(header.value.size());
  switch (header.identifier & OBEX_HDR_TYPE_MASK) {
    case OBEX_HDR_TYPE_UINT8:
      value->bq1 = byte(0);
      return 1;
    case OBEX_HDR_TYPE_UINT32:
      value->bq4 = std::uint32_t{byte(0)} << 24 | std::uint32_t{byte(1)} << 16 |
                   std::uint32_t{byte(2)} << 8 | byte(3);
      return 1;
    default:
      break;
  }
  value->bs = nullptr;
  if (header.value.empty()) return 1;
  // An exact copy, so that sanitizers detect reads beyond the value.
  known->values.push_back(std::make_unique<std::uint8_t[]>(header.value.size()));
  std::memcpy(known->values.back().get(), header.value.data(), header.value.size());
  value->bs = known->values.back().get();
  return 1;
}

int FakeOpenObex::setResponse(void** object, std::uint8_t response, std::uint8_t lastResponse) {
  const std::scoped_lock lock(m_mutex);
  if (object == nullptr) return -1;
  Object* known = findObject(object);
  record({.function = "OBEX_ObjectSetRsp",
          .object = known->number,
          .numbers = {response, lastResponse}});
  known->answer = {response, lastResponse};
  m_responses.emplace_back(response, lastResponse);
  return 0;
}

int FakeOpenObex::request(void** handle, void** object) {
  const std::scoped_lock lock(m_mutex);
  Handle* known = findHandle(handle);
  Object* asked = object == nullptr ? nullptr : findObject(object);
  record({.function = "OBEX_Request",
          .handle = known->number,
          .object = asked == nullptr ? 0 : asked->number});
  if (m_request.strikes()) return m_request.result;
  if (asked == nullptr) return -1;
  if (known->requested != nullptr) {
    ADD_FAILURE() << "second request while one is in flight";
    return kBusy;
  }
  known->requested = asked;
  asked->callersOwn = false;
  return 0;
}

int FakeOpenObex::cancel(void** handle, int nice) {
  const std::scoped_lock lock(m_mutex);
  Handle* known = findHandle(handle);
  record({.function = "OBEX_CancelRequest", .handle = known->number, .numbers = {nice}});
  if (known->requested == nullptr) return 0;
  known->requested->alive = false;
  known->requested = nullptr;
  return 1;
}

}  // namespace openobex::fake
