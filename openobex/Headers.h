#pragma once

#include <cstdint>

#include "openobex/openobex.h"

struct obex_object;

namespace openobex {

/// Whether a header to be sent may have a value of `size` bytes. A negative length arrives here as
/// a huge number, which the library would try to copy.
inline bool isPossibleHeaderLength(std::uint8_t identifier, std::uint32_t size) {
  constexpr std::uint32_t kMaxBodySize = 0x7FFFFFFF;
  // The largest packet without its own head and the header's.
  constexpr std::uint32_t kMaxValueSize = 65535 - 3 - 3;
  constexpr std::uint32_t kTerminatorSize = 2;
  switch (identifier) {
    case OBEX_HDR_BODY:
    case OBEX_HDR_BODY_END:
      return size <= kMaxBodySize;
    case OBEX_HDR_NAME:
      return size >= kTerminatorSize && size <= kMaxValueSize;
    default:
      return size <= kMaxValueSize;
  }
}

/// Iterates over the headers of a received object. The library's iterator sticks at the end of the
/// list. This one returns the first packet's headers during OBEX_EV_REQCHECK, and then each header
/// once over all later events of the object, including those that arrive in later packets.
///
/// Belongs to one handle, which serves one object at a time, and its thread.
class HeaderCursor {
 public:
  explicit HeaderCursor(obex_t* library) : m_library(library) {}

  // Called around the callbacks, in this order.
  void begin(int command);
  void beginCheck() { m_phase = Phase::kCheck; }
  void endCheck(obex_object* object, bool accepted);
  void beginRequest() { m_atRequest = true; }
  void endRequest() { m_phase = Phase::kNothing; }

  /// As `OBEX_ObjectGetNextHeader`.
  int next(obex_object* object, std::uint8_t* identifier, obex_headerdata_t* value,
           std::uint32_t* size);

 private:
  enum class Phase { kNothing, kCheck, kHeaders };

  int nextOfLibrary(obex_object* object, std::uint8_t* identifier, obex_headerdata_t* value,
                    std::uint32_t* size);
  int bufferedBody(obex_object* object, std::uint8_t* identifier, obex_headerdata_t* value,
                   std::uint32_t* size);

  obex_t* const m_library;
  Phase m_phase = Phase::kNothing;
  int m_command = -1;
  int m_yielded = 0;
  bool m_atRequest = false;
  bool m_bodyYielded = false;
};

}  // namespace openobex
