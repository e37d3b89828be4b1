// virtual-radio: runs a command whose Bluetooth RFCOMM sockets reach other such commands on this
// machine, without an adapter.
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

namespace radio {

/// The exit codes are those of env, nohup and timeout; all others are the command's own.
enum ExitCode { kWrapperFailed = 125, kNotExecutable = 126, kNotFound = 127 };

/// Why the command was not started, as a sentence for the user, and the exit code for it.
class LauncherError : public std::runtime_error {
 public:
  LauncherError(ExitCode code, const std::string& sentence)
      : std::runtime_error(sentence), m_code(code) {}
  ExitCode code() const { return m_code; }

 private:
  ExitCode m_code;
};

/// Starts a command with the virtual radio in it.
///
/// One thread. The steps are made one after the other; each throws a LauncherError, with a sentence
/// for the user and the exit code for it, when it cannot be done.
class Launcher {
 public:
  /// `address` as "00:11:22:33:44:55"; an empty `folder` is the usual one.
  void setAddress(const std::string& address);
  void setFolder(const std::string& folder);
  void preload();

  /// Becomes the command and does not return.
  [[noreturn]] void run(const std::vector<std::string>& command);

 private:
  static std::string findLibrary();
};

namespace {

constexpr char kLibraryName[] = "libvirtualradio.so";

std::string reason(int error) { return std::generic_category().message(error); }

void setVariable(const char* name, const std::string& value) {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): this program has one thread
  if (setenv(name, value.c_str(), 1) != 0) {
    throw LauncherError(kWrapperFailed, "cannot set " + std::string(name) + ": " + reason(errno));
  }
}

std::string folderReason(const Folder& folder) {
  if (folder.error() == -ENOENT) return "the folder above it does not exist";
  if (folder.error() == -EPERM && folder.isDefault()) {
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
  Folder air;
  if (air.error() != 0) {
    throw LauncherError(kWrapperFailed, "cannot use the folder \"" + std::string(air.path()) +
                                            "\": " + folderReason(air));
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

namespace {

struct Arguments {
  std::string address;
  std::string folder;
  std::vector<std::string> command;
};

void describe(CLI::App& app, Arguments& arguments) {
  app.add_option("--address", arguments.address,
                 "the Bluetooth address of this telephone, such as 00:11:22:33:44:55")
      ->type_name("ADDRESS")
      ->required();
  app.add_option("--dir", arguments.folder,
                 "the folder that stands for the air: programs that share it can hear each other "
                 "(usual: $XDG_RUNTIME_DIR/virtual-radio, or /tmp/virtual-radio-UID)")
      ->type_name("FOLDER");
  app.footer(
      "The command and its arguments stand after --, for example\n"
      "  virtual-radio --address 00:11:22:33:44:55 -- obexput -b 00:11:22:33:44:66 -B 4 "
      "card.vcf\n\n"
      "The exit code is the command's own; 127 when it was not found, 126 when it could not be\n"
      "run, 125 when the radio could not be set up.");
}

// Takes the command off the end: it is nobody's business here what its arguments look like.
int takeCommand(int argc, char** argv, Arguments& arguments) {
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--") != 0) continue;
    arguments.command.assign(argv + i + 1, argv + argc);
    return i;
  }
  return argc;
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
    radio::Launcher launcher;
    launcher.setAddress(arguments.address);
    launcher.setFolder(arguments.folder);
    launcher.preload();
    launcher.run(arguments.command);
  } catch (const CLI::ExtrasError& error) {
    std::fprintf(stderr, "%s\nThe command stands after --.\n", error.what());
    return radio::kWrapperFailed;
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : radio::kWrapperFailed;
  } catch (const radio::LauncherError& error) {
    std::fprintf(stderr, "virtual-radio: %s\n", error.what());
    return error.code();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "virtual-radio: %s\n", error.what());
    return radio::kWrapperFailed;
  }
}
