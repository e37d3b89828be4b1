#pragma once

#include <string>

#include "framework/Export.h"

/// The telephone's phonebook, as other services see it. Found through
/// `Context::getService("DirectoryServiceIfc")`.
///
/// Threads: any thread may call; the calls are served one after the other where they have to be.
class FRAMEWORK_API DirectoryServiceIfc {
 public:
  /// Takes one request, an XML text, and returns the answer, an XML text. A request that can't be
  /// carried out is answered with a text that holds the word "failure" and the reason. No exception
  /// leaves it.
  virtual std::string handleRequest(const std::string& request) = 0;

 protected:
  DirectoryServiceIfc() = default;
  DirectoryServiceIfc(const DirectoryServiceIfc&) = default;
  DirectoryServiceIfc& operator=(const DirectoryServiceIfc&) = default;
  virtual ~DirectoryServiceIfc() = default;
};
