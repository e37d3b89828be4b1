#include "host/app/Status.h"

#include <algorithm>
#include <utility>

#include "host/bus/Arguments.h"

namespace host {
namespace {

constexpr const char* kPath = "/org/obexphone/Phone";
constexpr const char* kInterface = "org.obexphone.Phone";
constexpr const char* kXml = R"(
<node>
  <interface name="org.obexphone.Phone">
    <method name="Status">
      <arg name="status" type="a{sv}" direction="out"/>
    </method>
    <method name="SetVisible">
      <arg name="seconds" type="i" direction="in"/>
    </method>
    <method name="Journal">
      <arg name="limit" type="i" direction="in"/>
      <arg name="entries" type="aa{sv}" direction="out"/>
    </method>
  </interface>
</node>)";

/// Longer than this is as good as for ever.
constexpr int kLongestVisible = 24 * 60 * 60;

constexpr int kMostEntries = 10000;

int numberIn(GVariant* arguments) {
  gint32 number = 0;
  g_variant_get(arguments, "(i)", &number);
  return number;
}

int secondsIn(GVariant* arguments) {
  const int seconds = numberIn(arguments);
  if (seconds < -1 || seconds > kLongestVisible)
    throw BusError("org.freedesktop.DBus.Error.InvalidArgs",
                   "the phone is visible for 1 to " + std::to_string(kLongestVisible) +
                       " seconds, -1 for ever, 0 for no longer");
  return seconds;
}

}  // namespace

std::unique_ptr<BusObject> makeStatusObject(PhoneOperations operations) {
  return std::make_unique<BusObject>(
      kPath, kInterface, kXml,
      [operations = std::move(operations)](const std::string& method, GVariant* arguments) {
        if (method == "Status")
          return g_variant_ref_sink(makeArguments(operations.status(), Parameter::OUT));
        if (method == "Journal")
          return operations.journal(std::clamp(numberIn(arguments), 0, kMostEntries));
        operations.makeVisible(secondsIn(arguments));
        return g_variant_ref_sink(g_variant_new_tuple(nullptr, 0));
      });
}

}  // namespace host
