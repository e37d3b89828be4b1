#include "radio/Settings.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "radio/Address.h"

namespace radio {
namespace {

// Null also for an empty one: nobody means that.
const char* variable(const char* name) {
  const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): only read
  return value != nullptr && *value != '\0' ? value : nullptr;
}

}  // namespace

OwnAddress readOwnAddress(bdaddr_t* address) {
  const char* text = variable(kAddressVariable);
  if (text == nullptr) return OwnAddress::kNone;
  return parseAddress(text, address) && !isAny(*address) ? OwnAddress::kGood : OwnAddress::kBad;
}

int readFolderPath(FolderPath* path) {
  int length = 0;
  const char* chosen = variable(kFolderVariable);
  const char* runtime = variable("XDG_RUNTIME_DIR");
  path->chosen = chosen != nullptr;
  if (chosen != nullptr) {
    length = std::snprintf(path->text, sizeof path->text, "%s", chosen);
  } else if (runtime != nullptr) {
    length = std::snprintf(path->text, sizeof path->text, "%s/virtual-radio", runtime);
  } else {
    length = std::snprintf(path->text, sizeof path->text, "/tmp/virtual-radio-%u", geteuid());
  }
  return length < 0 || static_cast<size_t>(length) >= sizeof path->text ? -ENAMETOOLONG : 0;
}

}  // namespace radio
