#include "host/bus/ServiceObject.h"

namespace host {

std::unique_ptr<BusObject> makeServiceObject(const ServiceNames& names, const std::string& xml) {
  return std::make_unique<BusObject>(
      names.path, names.interface, xml, [](const std::string&, GVariant*) -> GVariant* {
        throw BusError("org.freedesktop.DBus.Error.Failed", "the telephone is stopping");
      });
}

std::set<std::string> membersOf(const BusObject& object) {
  std::set<std::string> members;
  GDBusMethodInfo** methods = object.description()->gobj()->methods;
  for (; methods != nullptr && *methods != nullptr; ++methods) members.insert((*methods)->name);
  return members;
}

}  // namespace host
