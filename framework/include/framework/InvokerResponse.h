#pragma once

#include <string>

#include "framework/Export.h"

/// Where the answer to one message goes. Owned by the invoker that was given it.
///
/// Threads: the framework thread.
class FRAMEWORK_API InvokerResponse {
 public:
  virtual ~InvokerResponse() = default;

  /// The name of the format in which the message came and the answer is expected.
  [[nodiscard]] virtual const std::string& getFormat() const = 0;
  /// The address of the calling process.
  [[nodiscard]] virtual const std::string& getCallerAddress() const = 0;
  /// Sends `length` bytes as the answer. The bytes are copied; an answer that can't be delivered is
  /// dropped and logged.
  virtual void send(const char* data, int length) = 0;

 protected:
  InvokerResponse() = default;
  InvokerResponse(const InvokerResponse&) = default;
  InvokerResponse& operator=(const InvokerResponse&) = default;
};
