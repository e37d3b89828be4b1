#pragma once

#include <bluetooth/bluetooth.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "openobex/GuardedLink.h"
#include "openobex/Headers.h"
#include "openobex/openobex.h"

struct obex_object;

namespace openobex {

/// The object behind a handle of openobex.h, whose functions are its operations: the library's
/// handle, the link once there is one, and the corrections to the library's events.
///
/// Belongs to one thread.
class Handle {
 public:
  /// Null on failure.
  static std::unique_ptr<Handle> create(int transport, EventCallback callback, unsigned int flags);
  ~Handle();
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;

  static Handle* from(void** handle) { return reinterpret_cast<Handle*>(handle); }
  void** asVoid() { return reinterpret_cast<void**>(this); }

  void setUserData(void* data) { m_userData = data; }
  [[nodiscard]] void* userData() const { return m_userData; }
  [[nodiscard]] obex_t* library() const { return m_library; }
  HeaderCursor& cursor() { return m_cursor; }

  int registerServer(const bdaddr_t* source, std::uint8_t channel);
  int connect(const bdaddr_t* source, const bdaddr_t* destination, std::uint8_t channel);
  int handleInput(int timeout);
  int request(obex_object* object);
  int cancel(int nice);
  int deleteObject(obex_object* object);

  /// Call after a header was added to a request object.
  void headerAdded(obex_object* object, std::uint8_t identifier, unsigned int flags);
  /// Call when the callback sets a response.
  void answered(std::uint8_t response) { m_response = response; }

  /// The handle whose callback is running on this thread, or null.
  static Handle* current();

 private:
  Handle(obex_t* library, EventCallback callback);

  static void onEvent(obex_t* library, obex_object* object, int mode, int event, int command,
                      int response);
  void handleEvent(obex_object* object, int mode, int event, int command, int response);
  void handleServerEvent(obex_object* object, int event, int command, int response);
  void call(obex_object* object, int mode, int event, int command, int response);

  int listen(const bdaddr_t* source, std::uint8_t channel);
  int waitWhileStopping(std::chrono::milliseconds timeout);
  int acceptPeer(std::chrono::milliseconds timeout);
  bool letLibraryAccept(int listener);
  int admitPeer();
  int receivePacket(std::chrono::milliseconds timeout);
  int sendRequest();
  int work();
  int broken(std::string reason);
  void endLink(std::string reason);
  void tellObject();
  void tellAnswer();
  bool forgetOpenBody(obex_object* object);

  obex_t* const m_library;
  const EventCallback m_callback;
  void* m_userData = nullptr;
  HeaderCursor m_cursor;
  std::unique_ptr<GuardedLink> m_link;
  bool m_server = false;
  bool m_withoutSocket = false;  ///< server registered while the host is stopping
  bool m_broken = false;         ///< only clean-up is left; the caller knows
  bool m_muted = false;          ///< no more callbacks
  bool m_connectRefused = false;
  bool m_objectTold = false;  ///< the current request's, to the host
  int m_response = 0;
  std::vector<obex_object*> m_openBodies;  ///< request objects with Body but no End-of-Body
};

}  // namespace openobex
