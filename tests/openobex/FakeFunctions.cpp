#include "tests/openobex/FakeOpenObex.h"

// openobex/openobex.h implemented with the current FakeOpenObex.

namespace openobex {

using fake::FakeOpenObex;

void** OBEX_Init(int transport, EventCallback callback, unsigned int flags) {
  return FakeOpenObex::current().init(transport, callback, flags);
}

void OBEX_Cleanup(void** handle) { FakeOpenObex::current().cleanup(handle); }

void OBEX_SetUserData(void** handle, void* data) {
  FakeOpenObex::current().setUserData(handle, data);
}

void* OBEX_GetUserData(void** handle) { return FakeOpenObex::current().userData(handle); }

int BtOBEX_ServerRegister(void** handle, const bdaddr_t* source, std::uint8_t channel) {
  return FakeOpenObex::current().registerServer(handle, source, channel);
}

int BtOBEX_TransportConnect(void** handle, const bdaddr_t* /*source*/, const bdaddr_t* destination,
                            std::uint8_t channel) {
  return FakeOpenObex::current().connect(handle, destination, channel);
}

int OBEX_HandleInput(void** handle, int timeout) {
  return FakeOpenObex::current().handleInput(handle, timeout);
}

void** OBEX_ObjectNew(void** handle, std::uint8_t command) {
  return FakeOpenObex::current().newObject(handle, command);
}

int OBEX_ObjectDelete(void** handle, void** object) {
  return FakeOpenObex::current().deleteObject(handle, object);
}

int OBEX_ObjectAddHeader(void** handle, void** object, std::uint8_t identifier,
                         obex_headerdata_t value, std::uint32_t size, unsigned int flags) {
  return FakeOpenObex::current().addHeader(handle, object, identifier, value, size, flags);
}

int OBEX_ObjectGetNextHeader(void** handle, void** object, std::uint8_t* identifier,
                             obex_headerdata_t* value, std::uint32_t* size) {
  return FakeOpenObex::current().nextHeader(handle, object, identifier, value, size);
}

int OBEX_ObjectSetRsp(void** object, std::uint8_t response, std::uint8_t lastResponse) {
  return FakeOpenObex::current().setResponse(object, response, lastResponse);
}

int OBEX_Request(void** handle, void** object) {
  return FakeOpenObex::current().request(handle, object);
}

int OBEX_CancelRequest(void** handle, int nice) {
  return FakeOpenObex::current().cancel(handle, nice);
}

}  // namespace openobex
