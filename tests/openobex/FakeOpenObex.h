#pragma once

#include <array>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "openobex/openobex.h"
#include "tests/openobex/FakeScript.h"

namespace openobex::fake {

/// One recorded call of an OBEX function.
struct Call {
  std::string function;
  /// Handle and object, numbered from 1 in order of creation; 0 for null or none.
  int handle = 0;
  int object = 0;
  /// The other numeric arguments. `OBEX_ObjectAddHeader`: identifier, size, flags;
  /// `BtOBEX_ServerRegister` and `BtOBEX_TransportConnect`: channel.
  std::vector<std::int64_t> numbers{};
  /// `OBEX_ObjectAddHeader`: the value as sent, empty if its length was impossible.
  /// `BtOBEX_TransportConnect`: the destination, "00:11:22:33:44:55".
  std::string bytes{};

  /// "OBEX_HandleInput(handle 1, 10)", without `bytes`.
  std::string text() const;
};

/// A scripted, recording implementation of openobex/openobex.h: link `openobex_fake` instead of
/// `openobex_layer` and create one per test. Without one the functions abort.
///
///     FakeOpenObex obex;
///     obex.server().request(OBEX_CMD_PUT, {nameHeader("a.vcf"), bodyHeader("BEGIN:VCARD…")});
///     … start the server's thread …
///     ASSERT_TRUE(obex.server().waitUntilTaken());
///     EXPECT_EQ(obex.responses().back(), std::pair(OBEX_RSP_CONTINUE, OBEX_RSP_SUCCESS));
///
/// Registered servers play `server()`, all other handles `client()`; a new handle continues where
/// the previous one stopped. Misuse that would harm the real library (a handle after OBEX_Cleanup,
/// a deleted object, a second request) fails the test.
///
/// Thread-safe. Join the threads that use the functions before destroying this.
class FakeOpenObex {
 public:
  static constexpr int kForever = -1;

  FakeOpenObex();
  ~FakeOpenObex();
  FakeOpenObex(const FakeOpenObex&) = delete;
  FakeOpenObex& operator=(const FakeOpenObex&) = delete;

  Script& server() { return m_server; }
  Script& client() { return m_client; }

  /// Makes the next `times` calls fail (`kForever`: all; 0: none), with `result` or null.
  void failInit(int times);
  void failRegister(int times, int result = -1);
  void failConnect(int times, int result = -1);
  void failObjectNew(int times);
  void failAddHeader(int times, int result = -1);
  void failRequest(int times, int result = -1);

  /// All calls so far, in order.
  std::vector<Call> calls() const;
  /// All calls of one function.
  std::vector<Call> calls(const std::string& function) const;
  /// The headers added to all objects of one command, in order.
  std::vector<Header> headersOfCommand(int command) const;
  /// The arguments of all `OBEX_ObjectSetRsp` calls, in order.
  std::vector<std::pair<int, int>> responses() const;
  /// Handles not yet cleaned up.
  int liveHandles() const;
  /// Objects from `OBEX_ObjectNew` neither deleted nor taken by `OBEX_Request`.
  int liveObjects() const;
  void forgetCalls();

  /// Called with every call as it is recorded; must not use this object.
  std::function<void(const Call&)> onCall;

  /// Waits for `times` calls of a function; false after a deadline.
  bool waitForCalls(const std::string& function, int times = 1) const;
  /// Waits for a condition, which may use this object; false after a deadline.
  bool waitUntil(const std::function<bool()>& condition) const;

  // For FakeFunctions.cpp only.
  static FakeOpenObex& current();
  void** init(int transport, EventCallback callback, unsigned int flags);
  void cleanup(void** handle);
  void setUserData(void** handle, void* data);
  void* userData(void** handle);
  int registerServer(void** handle, const bdaddr_t* source, std::uint8_t channel);
  int connect(void** handle, const bdaddr_t* destination, std::uint8_t channel);
  int handleInput(void** handle, int timeout);
  void** newObject(void** handle, std::uint8_t command);
  int deleteObject(void** handle, void** object);
  int addHeader(void** handle, void** object, std::uint8_t identifier, obex_headerdata_t value,
                std::uint32_t size, unsigned int flags);
  int nextHeader(void** handle, void** object, std::uint8_t* identifier, obex_headerdata_t* value,
                 std::uint32_t* size);
  int setResponse(void** object, std::uint8_t response, std::uint8_t lastResponse);
  int request(void** handle, void** object);
  int cancel(void** handle, int nice);

 private:
  struct Object;
  struct Handle;
  struct Failure {
    int times = 0;
    int result = -1;
    bool strikes();
  };

  Handle* findHandle(void** handle);
  Object* findObject(void** object);
  Object* makeObject(Handle& handle, int command);
  void record(Call call);
  void setFailure(Failure& failure, int times, int result);
  int play(void** handle, const Input& input);
  void playEvent(void** handle, const Event& event);
  void playRequest(void** handle, const Event& request);
  void playAnswer(void** handle, int response);
  bool refused(void** handle);

  mutable std::mutex m_mutex;
  mutable std::condition_variable m_called;
  Script m_server;
  Script m_client;
  std::vector<Call> m_calls;
  std::vector<std::pair<int, int>> m_responses;
  std::vector<std::unique_ptr<Handle>> m_handles;
  std::vector<std::unique_ptr<Object>> m_objects;
  Failure m_init;
  Failure m_register;
  Failure m_connect;
  Failure m_objectNew;
  Failure m_addHeader;
  Failure m_request;
};

}  // namespace openobex::fake
