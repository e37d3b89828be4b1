#include "host/app/Options.h"

#include <pwd.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <system_error>

#include "framework/LogOutput.h"
#include "framework/Logging.h"
#include "host/app/ProcessSetup.h"

namespace host {
namespace {

/// The default service. Nothing else in the host depends on which service it runs.
constexpr const char* kService = "OBEXService";

constexpr std::uint64_t kMinLogBytes = std::uint64_t{1} << 10;
constexpr std::uint64_t kMaxLogBytes = std::uint64_t{1} << 40;
constexpr std::size_t kMaxLogFiles = 1000;

constexpr const char* kFooter =
    "\nphone-host runs until SIGTERM, SIGINT or SIGHUP. It prints \"phone-host: ready ...\" on "
    "standard output when it can be reached.\n\n"
    "Exit codes: 0 stopped on request; 1 could not start; 2 wrong command line; 3 stopped on "
    "request, but the service did not end within 4 seconds. With --check: 0 it could start; 1 it "
    "could not.\n";

void addGeneralOptions(CLI::App& app, Options& options) {
  app.add_flag(
      "--check", options.check,
      "Check whether the phone could start with these options, and exit: loads the plug-in "
      "and looks at the phonebook and the images folder, but changes nothing");
  app.add_option("--plugin", options.plugin,
                 "The service's library (default: the one built or installed with this program)")
      ->type_name("FILE");
  app.add_option("--service", options.service, "The name of the service in the plug-in")
      ->type_name("NAME")
      ->capture_default_str();
  app.add_option("--phonebook", options.connection,
                 "The phonebook, sqlite3://FILE or postgresql://USER@HOST:PORT/DATABASE (default: "
                 "obexphone/phonebook.db in the state directory)")
      ->type_name("CONNECTION");
  app.add_option("--bus", options.bus, "The message bus: session, system or a D-Bus address")
      ->type_name("BUS")
      ->envname("PHONE_BUS")
      ->capture_default_str();
}

void addLogOptions(CLI::App& app, Options& options) {
  const std::map<std::string, int> levels = {
      {"error", kLogError}, {"info", kLogInfo}, {"trace", kLogTrace}};
  app.add_option("--log-level", options.logLevel, "What to log: error (2), info (4) or trace (5)")
      ->type_name("LEVEL")
      ->transform(CLI::CheckedTransformer(levels))
      ->default_str("info");
  app.add_option("--log-file", options.logFile,
                 "Append the log to this file (default: standard error)")
      ->type_name("FILE");
  app.add_option("--log-size", options.logBytes,
                 "Rotate the log file (phone.log to phone.1.log, ...) before it exceeds this size")
      ->transform(CLI::AsSizeValue(false))
      ->check(CLI::Range(kMinLogBytes, kMaxLogBytes))
      ->type_name("SIZE (1K to 1T)")
      ->default_str("10M");
  app.add_option("--log-files", options.logFiles, "Number of log files to keep")
      ->check(CLI::Range(std::size_t{1}, kMaxLogFiles))
      ->type_name("N (1 to 1000)")
      ->default_str("5");
}

void addBluetoothOptions(CLI::App& app, Options& options, std::string& accept) {
  using Policy = AdmissionPolicy;
  app.add_option("--adapter", options.adapter,
                 "The Bluetooth adapter, by name (hci0) or address (default: the first)")
      ->type_name("ADAPTER");
  const std::map<std::string, Policy::Strangers> forStrangers = {
      {"ask", Policy::Strangers::kAsk}, {"refuse", Policy::Strangers::kRefuse}};
  app.add_option("--strangers", options.policy.strangers,
                 "What to do when a device connects that isn't both paired and trusted: ask or "
                 "refuse")
      ->type_name("WHAT")
      ->transform(CLI::CheckedTransformer(forStrangers))
      ->default_str("ask");
  const std::map<std::string, Policy::Trusted> forTrusted = {{"ask", Policy::Trusted::kAsk},
                                                             {"accept", Policy::Trusted::kAccept}};
  app.add_option("--trusted", options.policy.trusted,
                 "What to do with cards of paired and trusted devices: ask or accept")
      ->type_name("WHAT")
      ->transform(CLI::CheckedTransformer(forTrusted))
      ->default_str("ask");
  const std::map<std::string, bool> onOff = {{"on", true}, {"off", false}};
  app.add_option("--retry-forbidden", options.retryForbidden,
                 "If a receiver answers CONNECT with Forbidden, send it once more without the Who "
                 "header, as BlueZ's obexd requires; on only has an effect where BlueZ runs")
      ->type_name("on|off")
      ->transform(CLI::CheckedTransformer(onOff))
      ->default_str("on");
  app.add_flag("--receive", options.receive,
               "Receive from the start, as after `phonectl receive on`");
  app.add_option("--accept", accept,
                 "trusted: for an unattended phone; stores cards of paired and trusted devices "
                 "without asking and refuses all other devices. The same as --trusted accept "
                 "--strangers refuse")
      ->type_name("WHO")
      ->check(CLI::IsMember({"trusted"}))
      ->excludes("--strangers")
      ->excludes("--trusted");
}

namespace fs = std::filesystem;

std::string libraryName(const std::string& service) {
  std::string name = "lib" + service + ".so";
  std::transform(name.begin(), name.end(), name.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return name;
}

std::string environment(const char* name) {
  const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): nothing sets variables.
  return value != nullptr ? value : "";
}

fs::path home() {
  const std::string set = environment("HOME");
  if (!set.empty() && set.front() == '/') return set;
  const passwd* user = getpwuid(getuid());  // NOLINT(concurrency-mt-unsafe): called at start.
  if (user == nullptr || user->pw_dir == nullptr || *user->pw_dir != '/')
    throw std::runtime_error(
        "there is no home directory for the phonebook; specify one with --phonebook");
  return user->pw_dir;
}

// A relative path must be ignored, says the XDG specification.
fs::path stateHome() {
  const std::string set = environment("XDG_STATE_HOME");
  if (!set.empty() && set.front() == '/') return set;
  return home() / ".local" / "state";
}

bool isServiceName(const std::string& name) {
  return !name.empty() && name.size() <= 64 &&
         name.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789") ==
             std::string::npos;
}

}  // namespace

bool readOptions(int argc, char** argv, Options& options, int& code) {
  options.service = kService;
  options.bus = "session";
  options.logLevel = kLogInfo;
  options.logBytes = LogOutput::kFileBytes;
  options.logFiles = LogOutput::kFiles;
  CLI::App app("The telephone's daemon: receives and sends business cards by Bluetooth.",
               "phone-host");
  app.set_version_flag("--version", std::string("phone-host ") + PHONE_VERSION);
  app.footer(kFooter);
  std::string accept;
  addGeneralOptions(app, options);
  addLogOptions(app, options);
  addBluetoothOptions(app, options, accept);
  try {
    app.parse(argc, argv);
    if (!accept.empty())
      options.policy = {AdmissionPolicy::Strangers::kRefuse, AdmissionPolicy::Trusted::kAccept};
    if (!isServiceName(options.service))
      throw CLI::ValidationError("--service", "must consist of letters and digits");
  } catch (const CLI::ParseError& error) {
    code = app.exit(error) == 0 ? kExitStopped : kExitUsage;
    return false;
  }
  return true;
}

std::string defaultPlugin(const std::string& service) {
  std::error_code error;
  const fs::path program = fs::read_symlink("/proc/self/exe", error);
  if (error)
    throw std::runtime_error("can't find out where phone-host is installed; specify --plugin");
  const fs::path folder = program.parent_path();
  const std::array<fs::path, 2> places = {folder / PHONE_PLUGIN_FROM_PROGRAM, folder / "../lib"};
  for (const fs::path& place : places) {
    const fs::path file = (place / libraryName(service)).lexically_normal();
    if (fs::exists(file, error)) return file.string();
  }
  throw std::runtime_error("can't find " + libraryName(service) + " in " +
                           places[0].lexically_normal().string() + " or " +
                           places[1].lexically_normal().string() + "; specify it with --plugin");
}

std::string defaultConnection() {
  return "sqlite3://" + (stateHome() / "obexphone" / "phonebook.db").string();
}

void fillDefaults(Options& options) {
  if (options.plugin.empty()) options.plugin = defaultPlugin(options.service);
  if (options.connection.empty()) options.connection = defaultConnection();
}

}  // namespace host
