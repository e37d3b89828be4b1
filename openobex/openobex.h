#pragma once

#include <bluetooth/bluetooth.h>

#include <cstdint>

// The library's constants are used as they are. Its functions are not declared here, so that only
// this layer can call them.
extern "C" {
struct obex;
typedef struct obex obex_t;
}
#include <openobex/obex_const.h>

/// The OpenOBEX 1.x functions that the service uses, implemented with the current library: this
/// layer corrects where that behaves differently and stops hostile packets. All use of the library
/// goes through it. Tests link a fake instead.
///
/// Handles and objects are opaque `void**` as in 1.x, valid only if they came from these functions
/// or the callback. Errors are negative results or null.
///
/// A handle, its objects and its callback belong to one thread; different handles may be used in
/// parallel.
///
/// Limits of a link: packets of 3 to 65535 bytes; for each request `kMaxObjectSize` bytes of body,
/// `kMaxHeaders` other headers of `kMaxHeaderBytes` in total, and `kMaxPackets` packets. A peer
/// that connected to us may be idle (send no byte, take no byte of a response) for
/// `kMaxIdleSeconds`. A packet to or from it may take `kMaxPacketSeconds`, plus its length at
/// `kMinBytesPerSecond`. The link of a peer beyond these limits, or with malformed packets, is
/// closed; the callback gets one `OBEX_EV_LINKERR`. After that, after
/// `OBEX_CancelRequest` without ABORT, and after a negative result of `OBEX_HandleInput`, the only
/// valid call on a handle is `OBEX_Cleanup`.
namespace openobex {

inline constexpr std::uint32_t kMaxObjectSize = 4U << 20;
inline constexpr std::uint32_t kMaxHeaders = 1024;  ///< without body chunks
inline constexpr std::uint32_t kMaxHeaderBytes = 256U << 10;
inline constexpr std::uint32_t kMaxPackets = 65536;
inline constexpr int kMaxIdleSeconds = 30;
inline constexpr int kMaxPacketSeconds = 60;
inline constexpr int kMinBytesPerSecond = 2048;

using EventCallback = void (*)(void** handle, void** object, int mode, int event, int obex_cmd,
                               int obex_rsp);

/// Returns a new handle, to be freed with `OBEX_Cleanup`, or null. `flags` as in the library,
/// except that descriptors are always close-on-exec and a server stops listening while it serves a
/// peer.
void** OBEX_Init(int transport, EventCallback callback, unsigned int flags);
/// Closes the link and frees the handle with its objects. Null is allowed.
void OBEX_Cleanup(void** handle);
void OBEX_SetUserData(void** handle, void* data);
void* OBEX_GetUserData(void** handle);

/// Listens on an RFCOMM channel. A null source address means any local adapter. Negative on
/// failure, also reported to `RadioLinkIfc::listenFailed`; may be repeated until it succeeds. While
/// `RadioLinkIfc::linkStopping` is true it succeeds without opening a socket: `OBEX_HandleInput`
/// then returns 0 after 20 ms at most, or reports a link error once the host has changed its mind.
int BtOBEX_ServerRegister(void** handle, const bdaddr_t* source, std::uint8_t channel);
/// Connects to a peer's RFCOMM channel. A null or all-zero source address means any local adapter.
/// Negative on failure. Blocks as long as the radio does, up to half a minute.
int BtOBEX_TransportConnect(void** handle, const bdaddr_t* source, const bdaddr_t* destination,
                            std::uint8_t channel);

/// Waits up to `timeout` seconds for a peer or for one whole packet and processes it, which calls
/// the callback. Positive when something was processed, 0 after the time-out, negative on errors.
/// The first call after `OBEX_Request` sends the request.
int OBEX_HandleInput(void** handle, int timeout);

/// Returns a new request object, or null. The caller owns it until `OBEX_Request` takes it.
void** OBEX_ObjectNew(void** handle, std::uint8_t command);
/// Frees an object that `OBEX_Request` has not taken.
int OBEX_ObjectDelete(void** handle, void** object);
/// Adds a header and copies its value. Negative, among others, when `size` is impossible for the
/// header.
int OBEX_ObjectAddHeader(void** handle, void** object, std::uint8_t identifier,
                         obex_headerdata_t value, std::uint32_t size, unsigned int flags);
/// Returns 1 and the next header of a received object, or 0 when there is none at the moment. Each
/// header is returned once during `OBEX_EV_REQCHECK`, if it has arrived by then, and once during
/// the events after it. The object owns the value.
int OBEX_ObjectGetNextHeader(void** handle, void** object, std::uint8_t* identifier,
                             obex_headerdata_t* value, std::uint32_t* size);
/// Sets the responses to all packets but the last, and to the last.
int OBEX_ObjectSetRsp(void** object, std::uint8_t response, std::uint8_t lastResponse);

/// Starts a request and takes the object, unless the result is negative. If a peer answers
/// Forbidden to a CONNECT with a Who header and `RadioLinkIfc::linkForbidden` agrees, CONNECT is
/// sent again without Who, once per link. The callback then gets only the second response; the
/// caller's time-out applies to each.
int OBEX_Request(void** handle, void** object);
/// Cancels a request. With `nice`, ABORT is sent after the peer's next response. Without, the link
/// is closed, and the callback gets `OBEX_EV_ABORT` and `OBEX_EV_LINKERR`.
int OBEX_CancelRequest(void** handle, int nice);

/// Converts a zero-terminated Latin-1 string to big-endian UTF-16. `unicode` and `text` may be the
/// same buffer of `size` bytes. Returns the length in bytes including the terminator, -1 when that
/// exceeds `size`.
int OBEX_CharToUnicode(std::uint8_t* unicode, const std::uint8_t* text, int size);
/// Converts big-endian UTF-16 to a zero-terminated Latin-1 string of at most `size` bytes. Stops at
/// a zero unit or after `size` - 1 units. Units above 0xFF become "?". Returns the length in bytes
/// including the terminator, -1 when `size` is below 1.
int OBEX_UnicodeToChar(std::uint8_t* text, const std::uint8_t* unicode, int size);

}  // namespace openobex
