#pragma once

#include <iosfwd>

#include "framework/Export.h"

class Method;

/// Encodes and decodes messages in one format.
///
/// Threads: implementations are stateless; any thread may call. No member throws.
class FRAMEWORK_API MessageSerializer {
 public:
  virtual ~MessageSerializer() = default;

  /// Reads one message, which must end with the stream. Returns 1, or 0 with `method` unchanged if
  /// the message is invalid or the stream fails.
  virtual int decode(std::istream& in, Method& method) = 0;
  /// Writes a message that `decode` turns into an equal one, whatever bytes its strings hold. On
  /// failure sets failbit on `out`.
  virtual void encode(const Method& method, std::ostream& out) = 0;

 protected:
  MessageSerializer() = default;
  MessageSerializer(const MessageSerializer&) = default;
  MessageSerializer& operator=(const MessageSerializer&) = default;
};
