#pragma once

#include <memory>

#include "framework/DirectoryServiceIfc.h"
#include "host/bus/BusObject.h"

namespace host {

/// The Directory Service on the bus: /org/obexphone/DirectoryService, one method that takes and
/// returns the texts of `DirectoryServiceIfc::handleRequest` as bytes, since names may hold any.
/// `directory` must outlive the object.
std::unique_ptr<BusObject> makeDirectoryObject(DirectoryServiceIfc& directory);

}  // namespace host
