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
  /// The number of the handle and of the object, counted from 1 in the order of their making; 0 is
  /// null, or a function without one.
  int handle = 0;
  int object = 0;
  /// The other numbers among the arguments, in their order. `OBEX_ObjectAddHeader`: identifier,
  /// size as it was given, flags. `BtOBEX_ServerRegister` and `BtOBEX_TransportConnect`: channel.
  std::vector<std::int64_t> numbers{};
  /// `OBEX_ObjectAddHeader`: the value as it is on the wire, empty when its length was impossible.
  /// `BtOBEX_TransportConnect`: the destination as text, "00:11:22:33:44:55".
  std::string bytes{};

  /// "OBEX_HandleInput(handle 1, 10)"; the bytes are left out.
  std::string text() const;
};

/// The OBEX functions of a test, in place of the real layer (link `openobex_fake` instead of
/// `openobex_layer`). While one of these lives, the functions of openobex/openobex.h play what it
/// was told and record how they were called; without one they end the process.
///
///     FakeOpenObex obex;
///     obex.server().request(OBEX_CMD_PUT, {nameHeader("a.vcf"), bodyHeader("BEGIN:VCARD…")});
///     … start the server thread …
///     ASSERT_TRUE(obex.server().waitUntilTaken());
///     EXPECT_EQ(obex.responses().back(), std::pair(OBEX_RSP_CONTINUE, OBEX_RSP_SUCCESS));
///
/// Handles that were registered as a server follow the script `server()`, all others `client()`.
/// Handles that come later go on where the earlier ones stopped.
///
/// A use that would harm the real library (a handle after its clean-up, an object that is gone, a
/// second request) fails the test on the spot.
///
/// Threads: everything may be called from any thread. The threads that use the functions must have
/// ended before this is destroyed.
class FakeOpenObex {
 public:
  static constexpr int kForever = -1;

  FakeOpenObex();
  ~FakeOpenObex();
  FakeOpenObex(const FakeOpenObex&) = delete;
  FakeOpenObex& operator=(const FakeOpenObex&) = delete;

  Script& server() { return m_server; }
  Script& client() { return m_client; }

  /// The next `times` calls fail (`kForever`: all of them; 0: no more). Where a result can be given
  /// it is theirs, null otherwise.
  void failInit(int times);
  void failRegister(int times, int result = -1);
  void failConnect(int times, int result = -1);
  void failObjectNew(int times);
  void failAddHeader(int times, int result = -1);
  void failRequest(int times, int result = -1);

  /// All calls so far, in order.
  std::vector<Call> calls() const;
  /// Those of one function.
  std::vector<Call> calls(const std::string& function) const;
  /// The headers that were added to one object, or to the objects of one command, in order.
  std::vector<Header> headersOfCommand(int command) const;
  /// The answers given with `OBEX_ObjectSetRsp`, in order: before the last packet, to the last.
  std::vector<std::pair<int, int>> responses() const;
  /// Handles that were made and not cleaned up.
  int liveHandles() const;
  /// Objects of `OBEX_ObjectNew` that were neither deleted nor given to `OBEX_Request`.
  int liveObjects() const;
  void forgetCalls();

  /// Called with every call as it is recorded; must not use this object.
  std::function<void(const Call&)> onCall;

  /// Waits until the function was called so many times; false when it wasn't within the deadline.
  bool waitForCalls(const std::string& function, int times = 1) const;
  /// Waits until the condition holds, which is tested after each call; it may use this object.
  bool waitUntil(const std::function<bool()>& condition) const;

  // What the functions do; for FakeFunctions.cpp only.
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
