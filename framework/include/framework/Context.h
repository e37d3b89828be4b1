#pragma once

#include <string>

#include "framework/Export.h"

class Executable;

/// What the framework tells a service of its surroundings.
///
/// Threads: may be asked from any thread.
class FRAMEWORK_API Context {
 public:
  virtual ~Context() = default;

  /// The service that offers the named interface, null when there is none. It is not the caller's
  /// to delete and lives until after the caller. Cast it to the interface with `dynamic_cast`.
  virtual Executable* getService(const std::string& interfaceName) = 0;

 protected:
  Context() = default;
  Context(const Context&) = default;
  Context& operator=(const Context&) = default;
};
