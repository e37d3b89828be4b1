#include "radio/Launcher.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "radio/Address.h"
#include "radio/Folder.h"
#include "radio/Settings.h"

namespace radio {
namespace {

constexpr char kLibraryName[] = "libvirtualradio.so";

std::string reason(int error) { return std::generic_category().message(error); }

void setVariable(const char* name, const std::string& value) {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): this program has one thread
  if (setenv(name, value.c_str(), 1) != 0) {
    throw LauncherError(kWrapperFailed, "cannot set " + std::string(name) + ": " + reason(errno));
  }
}

std::string folderReason(const Folder& folder, bool chosen) {
  if (folder.error() == -ENOENT) return "the folder above it does not exist";
  if (folder.error() == -EPERM && !chosen) {
    return "it belongs to somebody else or others may write to it; name another with --dir";
  }
  return reason(-folder.error());
}

}  // namespace

void Launcher::setAddress(const std::string& address) {
  bdaddr_t parsed = {};
  if (!parseAddress(address.c_str(), &parsed) || isAny(parsed)) {
    throw LauncherError(kWrapperFailed, "\"" + address +
                                            "\" is no Bluetooth address; "
                                            "write six groups, such as 00:11:22:33:44:55");
  }
  setVariable(kAddressVariable, address);
}

// The folder is made here, and the telephone enters it, so that others find it switched on even
// before the command opens its first socket. The name handed on holds wherever the command goes.
void Launcher::setFolder(const std::string& folder) {
  if (!folder.empty()) setVariable(kFolderVariable, folder);
  FolderPath path;
  if (readFolderPath(&path) != 0) {
    throw LauncherError(kWrapperFailed, "the name of the folder is too long");
  }
  Folder air;
  if (air.error() != 0) {
    throw LauncherError(kWrapperFailed, "cannot use the folder \"" + std::string(air.path()) +
                                            "\": " + folderReason(air, path.chosen));
  }
  bdaddr_t own = {};
  const int entered = readOwnAddress(&own) == OwnAddress::kGood ? air.enterAdapter(own) : 0;
  if (entered != 0) {
    throw LauncherError(kWrapperFailed, "cannot write to the folder \"" + std::string(air.path()) +
                                            "\": " + reason(-entered));
  }
  setVariable(kFolderVariable, std::filesystem::canonical(air.path()).string());
}

void Launcher::preload() {
  const std::string library = findLibrary();
  if (library.find_first_of(": ") != std::string::npos) {
    throw LauncherError(kWrapperFailed, "\"" + library +
                                            "\" cannot be preloaded: its path has a space or a "
                                            "colon, which separate names in LD_PRELOAD");
  }
  const char* others = std::getenv("LD_PRELOAD");  // NOLINT(concurrency-mt-unsafe): one thread
  const bool alone = others == nullptr || *others == '\0';
  setVariable("LD_PRELOAD", alone ? library : library + ":" + others);
}

std::string Launcher::findLibrary() {
  namespace fs = std::filesystem;
  std::error_code ignored;
  const fs::path here = fs::read_symlink("/proc/self/exe", ignored).parent_path();
  const fs::path prefix = here.parent_path();
  const fs::path places[] = {prefix / "lib", prefix / "lib/obexphone",
                             prefix / RADIO_INSTALL_LIBDIR / "obexphone",
                             fs::path(RADIO_INSTALL_FULL_LIBDIR) / "obexphone"};
  std::string sought;
  for (const fs::path& place : places) {
    const fs::path library = place / kLibraryName;
    if (access(library.c_str(), R_OK) == 0) return library.string();
    sought += "\n  " + library.string();
  }
  throw LauncherError(kWrapperFailed,
                      std::string("cannot find ") + kLibraryName + "; looked for" + sought);
}

void Launcher::run(const std::vector<std::string>& command) {
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  execvp(arguments[0], arguments.data());
  const int error = errno;
  const bool missing = error == ENOENT || error == ENOTDIR;
  throw LauncherError(missing ? kNotFound : kNotExecutable,
                      "cannot run \"" + command[0] + "\": " + reason(error));
}

}  // namespace radio
