#include "host/app/Status.h"

#include <regex>
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
  </interface>
</node>)";

}  // namespace

std::unique_ptr<BusObject> makeStatusObject(std::function<Method()> read) {
  return std::make_unique<BusObject>(
      kPath, kInterface, kXml, [read = std::move(read)](const std::string&, GVariant*) {
        return g_variant_ref_sink(makeArguments(read(), Parameter::OUT));
      });
}

std::string withoutSecrets(const std::string& connection) {
  static const std::regex option(
      R"(((?:password|passwd|pwd|pass)\s*=\s*)('[^']*'?|"[^"]*"?|[^ ;&]*))", std::regex::icase);
  static const std::regex authority(R"(^([^/]*//[^/@:\s]*:)[^/@\s]*@)");
  const std::string blotted = std::regex_replace(connection, option, "$1***");
  return std::regex_replace(blotted, authority, "$1***@");
}

}  // namespace host
