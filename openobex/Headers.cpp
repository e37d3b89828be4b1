#include "openobex/Headers.h"

#include <openobex/obex.h>

#include <utility>

namespace openobex {

void HeaderCursor::begin(int command) {
  m_phase = Phase::kHeaders;
  m_command = command;
  m_yielded = 0;
  m_atRequest = false;
  m_bodyYielded = false;
}

void HeaderCursor::endCheck(obex_object* object, bool accepted) {
  m_phase = accepted ? Phase::kHeaders : Phase::kNothing;
  if (accepted) ::OBEX_ObjectReParseHeaders(m_library, object);
}

int HeaderCursor::next(obex_object* object, std::uint8_t* identifier, obex_headerdata_t* value,
                       std::uint32_t* size) {
  switch (m_phase) {
    case Phase::kNothing:
      return 0;
    case Phase::kCheck:
      return ::OBEX_ObjectGetNextHeader(m_library, object, identifier, value, size);
    case Phase::kHeaders:
      break;
  }
  for (;;) {
    const int result = nextOfLibrary(object, identifier, value, size);
    if (result <= 0) return bufferedBody(object, identifier, value, size);
    if (*identifier != OBEX_HDR_BODY) return result;
    // A second End-of-Body is always empty; the caller would take it for the body.
    if (!std::exchange(m_bodyYielded, true)) return result;
  }
}

/// Rewinds the library's iterator when it sticks at the end, and skips what was returned already.
int HeaderCursor::nextOfLibrary(obex_object* object, std::uint8_t* identifier,
                                obex_headerdata_t* value, std::uint32_t* size) {
  int result = ::OBEX_ObjectGetNextHeader(m_library, object, identifier, value, size);
  if (result <= 0 && m_yielded > 0) {
    ::OBEX_ObjectReParseHeaders(m_library, object);
    for (int i = 0; i < m_yielded; ++i) {
      if (::OBEX_ObjectGetNextHeader(m_library, object, identifier, value, size) <= 0) return 0;
    }
    result = ::OBEX_ObjectGetNextHeader(m_library, object, identifier, value, size);
  }
  if (result > 0) ++m_yielded;
  return result;
}

/// A body without End-of-Body is not in the header list; the library has buffered it as a stream.
/// It crashes when asked after a body was returned.
int HeaderCursor::bufferedBody(obex_object* object, std::uint8_t* identifier,
                               obex_headerdata_t* value, std::uint32_t* size) {
  if (!m_atRequest || m_bodyYielded || m_command != OBEX_CMD_PUT) return 0;
  m_bodyYielded = true;
  const std::uint8_t* bytes = nullptr;
  const int length = ::OBEX_ObjectReadStream(m_library, object, &bytes);
  if (length <= 0 || bytes == nullptr) return 0;
  *identifier = OBEX_HDR_BODY;
  value->bs = bytes;
  *size = static_cast<std::uint32_t>(length);
  return 1;
}

}  // namespace openobex
