#pragma once

#include <string>

#include "framework/Export.h"

/// Takes the answer to one message. Owned by the invoker that receives it.
///
/// Threads: the framework thread calls all members.
class FRAMEWORK_API InvokerResponse {
 public:
  virtual ~InvokerResponse() = default;

  /// Returns the format of the message and of the answer, such as "json".
  [[nodiscard]] virtual const std::string& getFormat() const = 0;
  /// Returns the address of the calling process.
  [[nodiscard]] virtual const std::string& getCallerAddress() const = 0;
  /// Sends `length` bytes, which are copied, as the answer. An answer that can't be delivered is
  /// logged and dropped.
  virtual void send(const char* data, int length) = 0;

 protected:
  InvokerResponse() = default;
  InvokerResponse(const InvokerResponse&) = default;
  InvokerResponse& operator=(const InvokerResponse&) = default;
};
