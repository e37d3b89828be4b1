#pragma once

#include <bluetooth/bluetooth.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "openobex/GuardedLink.h"
#include "openobex/HeaderCursor.h"
#include "openobex/openobex.h"

struct obex_object;

namespace openobex {

/// What stands behind a handle of this layer: the library's handle, the guarded link once there is
/// one, and what the library gets wrong between its events. The functions of openobex.h are its
/// operations.
///
/// Threads: the one that uses the handle.
class Handle {
 public:
  /// Null when the library has no handle.
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

  /// Takes note of a header that was added to an object of ours.
  void headerAdded(obex_object* object, std::uint8_t identifier, unsigned int flags);
  /// Takes note of an answer that the callback gave.
  void answered(std::uint8_t response) { m_response = response; }

  /// The handle whose callback runs on this thread; null when none does.
  static Handle* current();

 private:
  Handle(obex_t* library, EventCallback callback);

  static void onEvent(obex_t* library, obex_object* object, int mode, int event, int command,
                      int response);
  void handleEvent(obex_object* object, int mode, int event, int command, int response);
  void call(obex_object* object, int mode, int event, int command, int response);

  int acceptPeer(int timeout);
  bool admitPeer();
  int receivePacket(int timeout);
  int sendRequest();
  int work();
  int broken(const std::string& reason);
  void tellObject();
  void tellAnswer();

  obex_t* const m_library;
  const EventCallback m_callback;
  void* m_userData = nullptr;
  HeaderCursor m_cursor;
  std::unique_ptr<GuardedLink> m_link;
  bool m_server = false;
  bool m_broken = false;
  bool m_connectRefused = false;
  int m_response = 0;
  obex_object* m_openBody = nullptr;  ///< the object whose body has no end yet
};

}  // namespace openobex
