#pragma once

#include <string>

#include "framework/Export.h"

class Executable;

/// Gives a service access to other services.
///
/// Threads: any thread may call.
class FRAMEWORK_API Context {
 public:
  virtual ~Context() = default;

  /// Returns the service with the named interface, null if there is none. The framework owns it; it
  /// outlives the caller. Use `dynamic_cast` to get the interface.
  virtual Executable* getService(const std::string& interfaceName) = 0;

 protected:
  Context() = default;
  Context(const Context&) = default;
  Context& operator=(const Context&) = default;
};
