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
  int deleteObject(obex_object* object);

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
  void handleServerEvent(obex_object* object, int event, int command, int response);
  void call(obex_object* object, int mode, int event, int command, int response);

  int acceptPeer(std::chrono::milliseconds timeout);
  bool letLibraryAccept(int listener);
  int admitPeer();
  bool usesSelectableDescriptor();
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
  bool m_broken = false;  ///< the library must not work again, and the callback knows
  bool m_muted = false;
  bool m_connectRefused = false;
  bool m_objectTold = false;  ///< that of the request under way
  int m_response = 0;
  std::vector<obex_object*> m_openBodies;  ///< objects of ours whose body has no end yet
};

}  // namespace openobex
