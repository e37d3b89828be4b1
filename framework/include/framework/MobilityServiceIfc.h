#pragma once

#include <string>

#include "framework/Export.h"

/// Makes what is stored on this telephone available to its user elsewhere. Get it with
/// `Context::getService("MobilityServiceIfc")`.
///
/// Threads: any thread may call.
class FRAMEWORK_API MobilityServiceIfc {
 public:
  /// Registers a file that has been written. Returns whether it was accepted.
  virtual bool registerFile(const std::string& path) = 0;

 protected:
  MobilityServiceIfc() = default;
  MobilityServiceIfc(const MobilityServiceIfc&) = default;
  MobilityServiceIfc& operator=(const MobilityServiceIfc&) = default;
  virtual ~MobilityServiceIfc() = default;
};
