#include <giomm.h>

#include <cstdio>
#include <exception>
#include <memory>

#include "framework/LogOutput.h"
#include "host/app/Options.h"
#include "host/app/Phone.h"
#include "host/app/ProcessSetup.h"
#include "host/app/StartCheck.h"
#include "host/bus/MainLoop.h"

namespace host {
namespace {

/// Writes the log to the file or to standard error while it lives.
class LogToUser {
 public:
  explicit LogToUser(const Options& options)
      : m_output(options.logFile.empty()
                     ? std::make_unique<LogOutput>()
                     : std::make_unique<LogOutput>(options.logFile, options.logBytes,
                                                   options.logFiles)) {
    setLogLevel(options.logLevel);
    addLogSink(m_output.get());
  }
  ~LogToUser() { removeLogSink(m_output.get()); }
  LogToUser(const LogToUser&) = delete;
  LogToUser& operator=(const LogToUser&) = delete;

 private:
  const std::unique_ptr<LogOutput> m_output;
};

void say(const std::exception& error) { std::fprintf(stderr, "phone-host: %s\n", error.what()); }

int runPhone(const Options& options) {
  const LogToUser log(options);
  MainLoop loop;
  StopSignals signals([&loop] { loop.quit(); });
  Phone phone(options, loop);
  int code = kExitStopped;
  try {
    phone.start();
    loop.run();
  } catch (const std::exception& error) {
    say(error);
    code = kExitNoStart;
    signals.stop();
  }
  phone.stop();
  return code;
}

int run(int argc, char** argv) {
  try {
    Options options;
    int code = kExitStopped;
    if (!readOptions(argc, argv, options, code)) return code;
    Gio::init();
    if (options.check) return runStartCheck(options) ? kExitStopped : kExitNoStart;
    fillDefaults(options);
    return runPhone(options);
  } catch (const std::exception& error) {
    say(error);
    return kExitNoStart;
  }
}

}  // namespace
}  // namespace host

int main(int argc, char** argv) {
  host::setUpProcess();
  return host::run(argc, argv);
}
