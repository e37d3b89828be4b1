#pragma once

#include <memory>
#include <set>
#include <string>

#include "host/bus/BusObject.h"
#include "host/loader/ServiceNames.h"

namespace host {

/// The service's own object on the bus, by its description in `xml`. Its calls are taken by
/// `CallGate` before they come here; this is what answers introspection, and refuses calls when the
/// telephone stops.
std::unique_ptr<BusObject> makeServiceObject(const ServiceNames& names, const std::string& xml);

/// The names of the messages in an interface's description.
std::set<std::string> membersOf(const BusObject& object);

}  // namespace host
