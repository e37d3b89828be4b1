#pragma once

#include <bluetooth/bluetooth.h>

#include <cstdint>

// The library's constants are used under their own names and with its own values; its functions are
// not declared here, so that nothing but this layer can call them.
extern "C" {
struct obex;
typedef struct obex obex_t;
}
#include <openobex/obex_const.h>

/// OpenOBEX as the service relies on it: the functions of the 1.x interface under their own names,
/// carried out by the library of today and corrected where that one behaves differently or lets a
/// hostile peer harm the process. Every use of the library goes through here; a test puts a fake of
/// these functions in their place.
///
/// Handles and objects are opaque `void**`, as in 1.x. Only those that these functions returned, or
/// passed to the callback, may be given to them.
///
/// Threads: a handle, its objects and its callbacks belong to the one thread that uses it;
/// different handles may be used by different threads at the same time. Errors are negative results
/// or null, as in the library.
///
/// Limits of a link: packets of 3 to 65535 bytes, `kMaxObjectSize` bytes of body in one object,
/// `kMaxHeaders` other headers of `kMaxHeaderBytes` together and `kMaxPackets` packets in one
/// request. A peer that connected to us may be idle (send no byte, take no byte of a response) for
/// `kMaxIdleSeconds`, and has `kMaxPacketSeconds` plus a second for each `kMinBytesPerSecond` of
/// its length for one packet in either direction. The link of a peer beyond these limits, or with
/// malformed packets, is closed; the callback gets one `OBEX_EV_LINKERR`. After that, after
/// `OBEX_CancelRequest` without ABORT, and after a negative result of `OBEX_HandleInput`, the only
/// valid call on a handle is `OBEX_Cleanup`.
namespace openobex {

inline constexpr std::uint32_t kMaxObjectSize = 4U << 20;
inline constexpr std::uint32_t kMaxHeaders = 1024;  ///< pieces of a body don't count
inline constexpr std::uint32_t kMaxHeaderBytes = 256U << 10;
inline constexpr std::uint32_t kMaxPackets = 65536;
inline constexpr int kMaxIdleSeconds = 30;
inline constexpr int kMaxPacketSeconds = 60;
inline constexpr int kMinBytesPerSecond = 2048;  ///< on top of `kMaxPacketSeconds`

using EventCallback = void (*)(void** handle, void** object, int mode, int event, int obex_cmd,
                               int obex_rsp);

/// A new handle, null when the library has none. `flags` as in the library, but descriptors are
/// always closed on exec, and a server never keeps listening while it serves a link. The caller
/// frees it with `OBEX_Cleanup`.
void** OBEX_Init(int transport, EventCallback callback, unsigned int flags);
/// Closes the link and frees the handle with its objects. Null is allowed.
void OBEX_Cleanup(void** handle);
void OBEX_SetUserData(void** handle, void* data);
void* OBEX_GetUserData(void** handle);

/// Listens on an RFCOMM channel. A null source address means any local adapter. Negative on
/// failure, which `RadioLinkIfc::listenFailed` hears of; may be repeated until it succeeds. While
/// `RadioLinkIfc::linkStopping` is true it succeeds without opening a socket: `OBEX_HandleInput`
/// then returns 0 after 20 ms at most, or reports a link error once the host has changed its mind.
int BtOBEX_ServerRegister(void** handle, const bdaddr_t* source, std::uint8_t channel);
/// Connects to a peer's RFCOMM channel from any local adapter (null or all-zero source) or the
/// given one. Negative on failure. Waits as long as the radio does, which may be half a minute.
int BtOBEX_TransportConnect(void** handle, const bdaddr_t* source, const bdaddr_t* destination,
                            std::uint8_t channel);

/// Waits up to `timeout` seconds for a peer or for one whole packet, however slowly its bytes come,
/// and handles it with the callbacks that it causes. Positive when something was handled, 0 after
/// the time-out, negative on an error. A request of ours is sent by the first call after it was
/// made.
int OBEX_HandleInput(void** handle, int timeout);

/// A new object for a request; null on failure. It is the caller's until `OBEX_Request` takes it.
void** OBEX_ObjectNew(void** handle, std::uint8_t command);
/// Frees an object that was not given to `OBEX_Request`.
int OBEX_ObjectDelete(void** handle, void** object);
/// Adds a header; its value is copied. A length that can't be a header's is refused with a negative
/// result.
int OBEX_ObjectAddHeader(void** handle, void** object, std::uint8_t identifier,
                         obex_headerdata_t value, std::uint32_t size, unsigned int flags);
/// The next header of a received object: 1 and its identifier, value and length, or 0 when there is
/// none at this moment. Over all the events of one object each header is yielded once by
/// `OBEX_EV_REQCHECK` and once by the events after it. The value belongs to the object.
int OBEX_ObjectGetNextHeader(void** handle, void** object, std::uint8_t* identifier,
                             obex_headerdata_t* value, std::uint32_t* size);
/// Sets the answers to the packets before the last one and to the last one.
int OBEX_ObjectSetRsp(void** object, std::uint8_t response, std::uint8_t lastResponse);

/// Starts a request. From then on the object is the library's, unless the result is negative. A
/// CONNECT with a Who header that the peer answers with Forbidden is sent once more without it,
/// once on a link, before the callback hears of an answer: it hears only that to the second, and
/// each of the two may take as long as the caller waits in `OBEX_HandleInput`.
int OBEX_Request(void** handle, void** object);
/// Gives a request up. With `nice` an ABORT follows the peer's next answer; without it the link
/// ends, and the callback hears `OBEX_EV_ABORT` and `OBEX_EV_LINKERR`.
int OBEX_CancelRequest(void** handle, int nice);

/// Turns a zero-terminated text into big-endian UTF-16 with terminator, byte by byte; `unicode` and
/// `text` may be the same buffer of `size` bytes. Returns the length in bytes, terminator included,
/// -1 when that exceeds `size`.
int OBEX_CharToUnicode(std::uint8_t* unicode, const std::uint8_t* text, int size);
/// Turns big-endian UTF-16 into a zero-terminated text of at most `size` bytes, terminator
/// included. Reads at most `size` - 1 units, and none behind the first zero unit. A unit above 0xFF
/// becomes "?". Returns the length in bytes, terminator included, -1 when `size` leaves no room.
int OBEX_UnicodeToChar(std::uint8_t* text, const std::uint8_t* unicode, int size);

}  // namespace openobex
