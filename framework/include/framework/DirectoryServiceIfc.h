#pragma once

#include <string>

#include "framework/Export.h"

/// The telephone's phonebook. Get it with `Context::getService("DirectoryServiceIfc")`.
///
/// Threads: any thread may call.
class FRAMEWORK_API DirectoryServiceIfc {
 public:
  /// Handles a request and returns the answer, both XML. The answer to a request that fails
  /// contains the word "failure" and the reason. Never throws.
  virtual std::string handleRequest(const std::string& request) = 0;

 protected:
  DirectoryServiceIfc() = default;
  DirectoryServiceIfc(const DirectoryServiceIfc&) = default;
  DirectoryServiceIfc& operator=(const DirectoryServiceIfc&) = default;
  virtual ~DirectoryServiceIfc() = default;
};
