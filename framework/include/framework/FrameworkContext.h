#pragma once

#include <string>

#include "framework/Export.h"

class MessageSerializer;
class Proxy;

/// What the framework offers to an invoker: the message formats it knows, and proxies for other
/// processes.
///
/// Threads: asked from the framework thread. What it returns is owned by the framework.
class FRAMEWORK_API FrameworkContext {
 public:
  virtual ~FrameworkContext() = default;

  /// The serializer of a message format, null when the format isn't known.
  virtual MessageSerializer* getSerializer(const std::string& format) = 0;

  /// The proxy that stands for `interfaceName` in the process at `address`: always the same one for
  /// the same pair, as long as that process can be reached. Null when there is no such interface or
  /// no such process.
  virtual Proxy* getProxy(const std::string& interfaceName, const std::string& address) = 0;

 protected:
  FrameworkContext() = default;
  FrameworkContext(const FrameworkContext&) = default;
  FrameworkContext& operator=(const FrameworkContext&) = default;
};
