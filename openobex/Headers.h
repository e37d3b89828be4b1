#pragma once

#include <cstdint>

#include "openobex/openobex.h"

struct obex_object;

namespace openobex {

/// Whether a header that we send may have a value of this many bytes. A caller's negative result of
/// a conversion arrives here as a huge number, which the library would copy.
inline bool isPossibleHeaderLength(std::uint8_t identifier, std::uint32_t size) {
  constexpr std::uint32_t kMaxBodySize = 0x7FFFFFFF;
  // What a packet of the largest size can hold beside its own head and the header's.
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

/// Where the reading of a received object's headers stands. The library reads to the end of the
/// list once and then yields nothing more; here the first headers are yielded to OBEX_EV_REQCHECK,
/// and then every header once over all the later events of the object, those that came in later
/// packets included.
///
/// Threads: the thread that uses the handle. Belongs to one handle, which serves one object at a
/// time.
class HeaderCursor {
 public:
  explicit HeaderCursor(obex_t* library) : m_library(library) {}

  // Around the callback of each event, in this order.
  void begin(int command);
  void beginCheck() { m_phase = Phase::kCheck; }
  void endCheck(obex_object* object, bool accepted);
  void beginRequest() { m_atRequest = true; }
  void endRequest() { m_phase = Phase::kNothing; }

  /// The next header of the object, as `OBEX_ObjectGetNextHeader`.
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
