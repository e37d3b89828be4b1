#pragma once

#include <iosfwd>

#include "framework/Export.h"

class Method;

/// Turns messages into bytes and back: one implementation for each format.
///
/// Threads: an implementation keeps no state between calls; any thread may call it. No exception
/// leaves it.
class FRAMEWORK_API MessageSerializer {
 public:
  virtual ~MessageSerializer() = default;

  /// Reads one message from `in` up to its end. Returns 1 and fills `method`, or 0 and leaves it as
  /// it is.
  virtual int decode(std::istream& in, Method& method) = 0;
  /// Writes the message to `out`; what was encoded decodes to an equal message, whatever bytes its
  /// strings hold.
  virtual void encode(const Method& method, std::ostream& out) = 0;

 protected:
  MessageSerializer() = default;
  MessageSerializer(const MessageSerializer&) = default;
  MessageSerializer& operator=(const MessageSerializer&) = default;
};
