#include "host/bus/DirectoryObject.h"

#include <string>

namespace host {
namespace {

constexpr const char* kPath = "/org/obexphone/DirectoryService";
constexpr const char* kInterface = "org.obexphone.DirectoryServiceIfc";
constexpr const char* kXml = R"(
<node>
  <interface name="org.obexphone.DirectoryServiceIfc">
    <method name="handleRequest">
      <arg name="request" type="ay" direction="in"/>
      <arg name="answer" type="ay" direction="out"/>
    </method>
  </interface>
</node>)";

std::string bytesOf(GVariant* arguments) {
  GVariant* child = g_variant_get_child_value(arguments, 0);
  gsize size = 0;
  const gconstpointer data = g_variant_get_fixed_array(child, &size, sizeof(guint8));
  std::string bytes;
  if (size != 0) bytes.assign(static_cast<const char*>(data), size);
  g_variant_unref(child);
  return bytes;
}

GVariant* toTuple(const std::string& bytes) {
  GVariant* value =
      g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, bytes.data(), bytes.size(), sizeof(guint8));
  return g_variant_ref_sink(g_variant_new_tuple(&value, 1));
}

}  // namespace

std::unique_ptr<BusObject> makeDirectoryObject(DirectoryServiceIfc& directory) {
  return std::make_unique<BusObject>(kPath, kInterface, kXml,
                                     [&directory](const std::string&, GVariant* arguments) {
                                       return toTuple(directory.handleRequest(bytesOf(arguments)));
                                     });
}

}  // namespace host
