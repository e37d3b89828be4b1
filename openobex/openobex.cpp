#include "openobex/openobex.h"

#include <openobex/obex.h>

#include "openobex/Handle.h"
#include "openobex/Headers.h"

namespace openobex {
namespace {

obex_object* object(void** handle) { return reinterpret_cast<obex_object*>(handle); }

}  // namespace

void** OBEX_Init(int transport, EventCallback callback, unsigned int flags) {
  std::unique_ptr<Handle> handle = Handle::create(transport, callback, flags);
  return handle == nullptr ? nullptr : handle.release()->asVoid();
}

void OBEX_Cleanup(void** handle) { delete Handle::from(handle); }

void OBEX_SetUserData(void** handle, void* data) { Handle::from(handle)->setUserData(data); }

void* OBEX_GetUserData(void** handle) { return Handle::from(handle)->userData(); }

int BtOBEX_ServerRegister(void** handle, const bdaddr_t* source, std::uint8_t channel) {
  return Handle::from(handle)->registerServer(source, channel);
}

int BtOBEX_TransportConnect(void** handle, const bdaddr_t* source, const bdaddr_t* destination,
                            std::uint8_t channel) {
  return Handle::from(handle)->connect(source, destination, channel);
}

int OBEX_HandleInput(void** handle, int timeout) {
  return Handle::from(handle)->handleInput(timeout);
}

void** OBEX_ObjectNew(void** handle, std::uint8_t command) {
  return reinterpret_cast<void**>(::OBEX_ObjectNew(Handle::from(handle)->library(), command));
}

int OBEX_ObjectDelete(void** handle, void** obexObject) {
  return Handle::from(handle)->deleteObject(object(obexObject));
}

int OBEX_ObjectAddHeader(void** handle, void** obexObject, std::uint8_t identifier,
                         obex_headerdata_t value, std::uint32_t size, unsigned int flags) {
  if (!isPossibleHeaderLength(identifier, size)) return -1;
  Handle* const own = Handle::from(handle);
  const int result =
      ::OBEX_ObjectAddHeader(own->library(), object(obexObject), identifier, value, size, flags);
  if (result >= 0) own->headerAdded(object(obexObject), identifier, flags);
  return result;
}

int OBEX_ObjectGetNextHeader(void** handle, void** obexObject, std::uint8_t* identifier,
                             obex_headerdata_t* value, std::uint32_t* size) {
  if (obexObject == nullptr) return 0;
  return Handle::from(handle)->cursor().next(object(obexObject), identifier, value, size);
}

int OBEX_ObjectSetRsp(void** obexObject, std::uint8_t response, std::uint8_t lastResponse) {
  if (obexObject == nullptr) return -1;
  if (Handle* const own = Handle::current()) own->answered(response);
  return ::OBEX_ObjectSetRsp(object(obexObject), response, lastResponse);
}

int OBEX_Request(void** handle, void** obexObject) {
  return Handle::from(handle)->request(object(obexObject));
}

int OBEX_CancelRequest(void** handle, int nice) { return Handle::from(handle)->cancel(nice); }

}  // namespace openobex
