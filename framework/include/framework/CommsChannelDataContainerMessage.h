#pragma once

#include <string>

#include "framework/Export.h"

/// A block of bytes that came beside a raw message on a `CommsChannelIfc`. A plain value.
struct FRAMEWORK_API CommsChannelDataContainerMessage {
  std::string data;
};
