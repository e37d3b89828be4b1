#pragma once

#include <string>

#include "framework/Export.h"

class MessageSerializer;
class Proxy;

/// Gives an invoker access to message formats and to proxies for other processes.
///
/// Threads: the framework thread calls all members. The framework owns what they return.
class FRAMEWORK_API FrameworkContext {
 public:
  virtual ~FrameworkContext() = default;

  /// Returns the serializer of a message format, null if the format is unknown.
  virtual MessageSerializer* getSerializer(const std::string& format) = 0;

  /// Returns the proxy for `interfaceName` in the process at `address`, the same one for the same
  /// pair as long as that process can be reached. Returns null if there is no such interface or
  /// process.
  virtual Proxy* getProxy(const std::string& interfaceName, const std::string& address) = 0;

 protected:
  FrameworkContext() = default;
  FrameworkContext(const FrameworkContext&) = default;
  FrameworkContext& operator=(const FrameworkContext&) = default;
};
