#pragma once

#include <string>

#include "framework/Export.h"

/// Carries what is stored on this telephone to wherever its user is. Found through
/// `Context::getService("MobilityServiceIfc")`.
///
/// Threads: any thread may call.
class FRAMEWORK_API MobilityServiceIfc {
 public:
  /// Tells of a file that was written. Returns whether it was taken note of.
  virtual bool registerFile(const std::string& path) = 0;

 protected:
  MobilityServiceIfc() = default;
  MobilityServiceIfc(const MobilityServiceIfc&) = default;
  MobilityServiceIfc& operator=(const MobilityServiceIfc&) = default;
  virtual ~MobilityServiceIfc() = default;
};
