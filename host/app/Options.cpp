#include "host/app/Options.h"

#include <CLI/CLI.hpp>
#include <map>

#include "framework/LogOutput.h"
#include "framework/Logging.h"
#include "host/app/DefaultPaths.h"
#include "host/app/ExitCodes.h"

namespace host {
namespace {

/// The service that this telephone is made for. Nothing else in the host depends on which it is.
constexpr const char* kService = "OBEXService";

constexpr std::uint64_t kMinLogBytes = std::uint64_t{1} << 10;
constexpr std::uint64_t kMaxLogBytes = std::uint64_t{1} << 40;
constexpr std::size_t kMaxLogFiles = 1000;

constexpr const char* kFooter =
    "\nThe telephone runs until SIGTERM, SIGINT or SIGHUP. It prints \"phone-host: ready ...\" on "
    "standard output when others can reach it.\n\n"
    "Exit codes: 0 stopped on request; 1 it could not start; 2 the command line is wrong; "
    "3 stopped on request, but the service did not end within 4 seconds. With --check: 0 it could "
    "start; 1 it could not.\n";

void describe(CLI::App& app, Options& options) {
  app.add_flag("--check", options.check,
               "Only tell whether the phone could start with these options: load the service's "
               "library, look at the phonebook and the images folder, change nothing");
  app.add_option("--plugin", options.plugin,
                 "The service's library (default: the one built or installed with this program)")
      ->type_name("FILE");
  app.add_option("--service", options.service, "The name of the service in it")
      ->type_name("NAME")
      ->capture_default_str();
  app.add_option("--phonebook", options.connection,
                 "Where the phonebook is, sqlite3://FILE or postgresql://USER@HOST:PORT/DATABASE "
                 "(default: obexphone/phonebook.db in the state folder)")
      ->type_name("CONNECTION");
  app.add_option("--bus", options.bus, "The message bus: session, system or a D-Bus address")
      ->type_name("BUS")
      ->capture_default_str();
  const std::map<std::string, int> levels = {{"error", kLogError}, {"trace", kLogTrace}};
  app.add_option("--log-level", options.logLevel, "What is logged: error (2) or trace (5)")
      ->type_name("LEVEL")
      ->transform(CLI::CheckedTransformer(levels))
      ->default_str("error");
  app.add_option("--log-file", options.logFile,
                 "Append the log to this file (default: standard error)")
      ->type_name("FILE");
  app.add_option("--log-size", options.logBytes,
                 "Move the log file aside (phone.log to phone.1.log, ...) before it is larger")
      ->transform(CLI::AsSizeValue(false))
      ->check(CLI::Range(kMinLogBytes, kMaxLogBytes))
      ->type_name("SIZE (1K to 1T)")
      ->default_str("10M");
  app.add_option("--log-files", options.logFiles, "Keep so many log files, the newest included")
      ->check(CLI::Range(std::size_t{1}, kMaxLogFiles))
      ->type_name("N (1 to 1000)")
      ->default_str("5");
}

void describeBluetooth(CLI::App& app, Options& options) {
  using Policy = AdmissionPolicy;
  app.add_option("--adapter", options.adapter,
                 "The Bluetooth adapter to use, by name (hci0) or address (default: the first)")
      ->type_name("ADAPTER");
  const std::map<std::string, Policy::Strangers> forStrangers = {
      {"ask", Policy::Strangers::kAsk}, {"refuse", Policy::Strangers::kRefuse}};
  app.add_option("--strangers", options.policy.strangers,
                 "What pushes of devices that aren't both paired and trusted meet with: ask or "
                 "refuse")
      ->type_name("WHAT")
      ->transform(CLI::CheckedTransformer(forStrangers))
      ->default_str("ask");
  const std::map<std::string, Policy::Trusted> forTrusted = {{"ask", Policy::Trusted::kAsk},
                                                             {"accept", Policy::Trusted::kAccept}};
  app.add_option("--trusted", options.policy.trusted,
                 "What becomes of cards from devices that are paired and trusted: ask or accept")
      ->type_name("WHAT")
      ->transform(CLI::CheckedTransformer(forTrusted))
      ->default_str("ask");
}

/// A telephone that nobody sits at.
void describeHeadless(CLI::App& app, Options& options, std::string& accept) {
  app.add_flag("--receive", options.receive,
               "Receive from the start on, as after `phonectl receive on`");
  app.add_option("--accept", accept,
                 "trusted: cards of paired and trusted devices are stored without a question, and "
                 "everybody else is refused; the same as --trusted accept --strangers refuse")
      ->type_name("WHO")
      ->check(CLI::IsMember({"trusted"}))
      ->excludes("--strangers")
      ->excludes("--trusted");
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
  options.logLevel = kLogError;
  options.logBytes = LogOutput::kFileBytes;
  options.logFiles = LogOutput::kFiles;
  CLI::App app("The telephone: runs its service, phonebook and message bus.", "phone-host");
  app.set_version_flag("--version", std::string("phone-host ") + PHONE_VERSION);
  app.footer(kFooter);
  describe(app, options);
  describeBluetooth(app, options);
  std::string accept;
  describeHeadless(app, options, accept);
  try {
    app.parse(argc, argv);
    if (!accept.empty())
      options.policy = {AdmissionPolicy::Strangers::kRefuse, AdmissionPolicy::Trusted::kAccept};
    if (!isServiceName(options.service))
      throw CLI::ValidationError("--service", "a name consists of letters and digits");
  } catch (const CLI::ParseError& error) {
    code = app.exit(error) == 0 ? kExitStopped : kExitUsage;
    return false;
  }
  return true;
}

void fillDefaults(Options& options) {
  if (options.plugin.empty()) options.plugin = defaultPlugin(options.service);
  if (options.connection.empty()) options.connection = defaultConnection();
}

}  // namespace host
