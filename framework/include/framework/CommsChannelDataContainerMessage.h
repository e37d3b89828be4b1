#pragma once

#include <string>

#include "framework/Export.h"

/// A block of bytes that accompanies a raw message on a `CommsChannelIfc`.
struct FRAMEWORK_API CommsChannelDataContainerMessage {
  std::string data;
};
