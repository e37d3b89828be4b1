// virtual-radio: runs a command with libvirtualradio.so preloaded.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "radio/Address.h"
#include "radio/Folder.h"

using radio::Folder;

namespace {

constexpr char kLibraryName[] = "libvirtualradio.so";

// As of env, nohup and timeout; every other exit code is the command's.
enum ExitCode { kLauncherFailed = 125, kNotExecutable = 126, kNotFound = 127 };

class LauncherError : public std::runtime_error {
 public:
  explicit LauncherError(const std::string& message, ExitCode code = kLauncherFailed)
      : std::runtime_error(message), m_code(code) {}
  ExitCode code() const { return m_code; }

 private:
  ExitCode m_code;
};

struct Arguments {
  std::string address;
  std::string folder;
  std::vector<std::string> command;
};

void describe(CLI::App& app, Arguments& arguments) {
  app.add_option("--address", arguments.address,
                 "The Bluetooth address of this device, such as 00:11:22:33:44:55")
      ->type_name("ADDRESS")
      ->required();
  app.add_option("--dir", arguments.folder,
                 "The folder shared by the programs that can reach each other "
                 "(default: $XDG_RUNTIME_DIR/virtual-radio, or /tmp/virtual-radio-UID)")
      ->type_name("FOLDER");
  app.footer(
      "The command and its arguments follow --, for example\n"
      "  virtual-radio --address 00:11:22:33:44:55 -- obexput -b 00:11:22:33:44:66 -B 4 "
      "card.vcf\n\n"
      "The exit code is the command's, or 127 if it was not found, 126 if it could not be run,\n"
      "125 if the radio could not be set up.");
}

// Hides the command's arguments from CLI11. Returns the number of arguments before "--".
int takeCommand(int argc, char** argv, Arguments& arguments) {
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--") != 0) continue;
    arguments.command.assign(argv + i + 1, argv + argc);
    return i;
  }
  return argc;
}

std::string reason(int error) { return std::generic_category().message(error); }

void setVariable(const char* name, const std::string& value) {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): this program has one thread
  if (setenv(name, value.c_str(), 1) != 0) {
    throw LauncherError("cannot set " + std::string(name) + ": " + reason(errno));
  }
}

void setAddress(const std::string& address) {
  bdaddr_t parsed = {};
  if (!radio::parseAddress(address.c_str(), &parsed) || radio::isAny(parsed)) {
    throw LauncherError("\"" + address +
                        "\" is not a Bluetooth address; expected one such as 00:11:22:33:44:55");
  }
  setVariable(radio::kAddressVariable, address);
}

std::string reasonOf(const Folder& folder) {
  if (folder.error() == -ENOENT) return "its parent folder does not exist";
  if (folder.error() == -EPERM && folder.isDefault()) {
    return "another user owns it or can write to it; choose another with --dir";
  }
  return reason(-folder.error());
}

// Registers the address here, so that others find the device before the command opens a socket. The
// command gets the absolute path, because it may change its working directory.
void setFolder(const std::string& path) {
  if (!path.empty()) setVariable(radio::kFolderVariable, path);
  Folder folder;
  if (folder.error() != 0) {
    throw LauncherError("cannot use the folder \"" + std::string(folder.path()) +
                        "\": " + reasonOf(folder));
  }
  bdaddr_t own = {};
  const bool valid = radio::readOwnAddress(&own) == radio::OwnAddress::kValid;
  const int added = valid ? folder.addAdapter(own) : 0;
  if (added != 0) {
    throw LauncherError("cannot write to the folder \"" + std::string(folder.path()) +
                        "\": " + reason(-added));
  }
  setVariable(radio::kFolderVariable, std::filesystem::canonical(folder.path()).string());
}

std::string findLibrary() {
  namespace fs = std::filesystem;
  std::error_code ignored;
  const fs::path bin = fs::read_symlink("/proc/self/exe", ignored).parent_path();
  const fs::path prefix = bin.parent_path();
  const fs::path folders[] = {prefix / "lib", prefix / "lib/obexphone",
                              prefix / RADIO_INSTALL_LIBDIR / "obexphone",
                              fs::path(RADIO_INSTALL_FULL_LIBDIR) / "obexphone"};
  std::string tried;
  for (const fs::path& folder : folders) {
    const fs::path library = folder / kLibraryName;
    if (access(library.c_str(), R_OK) == 0) return library.string();
    tried += "\n  " + library.string();
  }
  throw LauncherError(std::string("cannot find ") + kLibraryName + "; tried" + tried);
}

void preload() {
  const std::string library = findLibrary();
  if (library.find_first_of(": ") != std::string::npos) {
    throw LauncherError("cannot preload \"" + library +
                        "\": LD_PRELOAD takes no path with a space or a colon");
  }
  const char* others = std::getenv("LD_PRELOAD");  // NOLINT(concurrency-mt-unsafe): one thread
  const bool alone = others == nullptr || *others == '\0';
  setVariable("LD_PRELOAD", alone ? library : library + ":" + others);
}

[[noreturn]] void run(const std::vector<std::string>& command) {
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  execvp(arguments[0], arguments.data());
  const int error = errno;
  const bool missing = error == ENOENT || error == ENOTDIR;
  throw LauncherError("cannot run \"" + command[0] + "\": " + reason(error),
                      missing ? kNotFound : kNotExecutable);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Runs a command with a virtual Bluetooth radio.", "virtual-radio"};
  Arguments arguments;
  describe(app, arguments);
  try {
    app.parse(takeCommand(argc, argv, arguments), argv);
    if (arguments.command.empty()) {
      throw CLI::RequiredError("a command after -- (virtual-radio --address ADDRESS -- COMMAND)");
    }
    setAddress(arguments.address);
    setFolder(arguments.folder);
    preload();
    run(arguments.command);
  } catch (const CLI::ExtrasError& error) {
    std::fprintf(stderr, "%s\nPut -- before the command.\n", error.what());
    return kLauncherFailed;
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kLauncherFailed;
  } catch (const LauncherError& error) {
    std::fprintf(stderr, "virtual-radio: %s\n", error.what());
    return error.code();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "virtual-radio: %s\n", error.what());
    return kLauncherFailed;
  }
}
