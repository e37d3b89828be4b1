#include "host/push/RunId.h"

#include <pwd.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <sstream>

namespace host {
namespace {

/// The id of this start of this machine: the number of a process means nothing beyond it.
std::string firstLineOf(const std::string& path) {
  std::string line;
  std::getline(std::ifstream(path), line);
  return line;
}

/// The field of /proc/N/stat that says when the process began; empty when there is none.
std::string beginOf(const std::string& process) {
  std::string text = firstLineOf("/proc/" + process + "/stat");
  // The name, which may hold anything, ends with the last bracket; the time is the 20th after it.
  const std::size_t end = text.rfind(')');
  if (end == std::string::npos) return "";
  std::istringstream words(text.substr(end + 1));
  std::string word;
  constexpr int kBegin = 20;
  for (int i = 0; i < kBegin && words >> word; ++i) continue;
  return words ? word : "";
}

/// What tells a run from all others.
std::string nameOf(const std::string& process) {
  return firstLineOf("/etc/machine-id") + "/" + firstLineOf("/proc/sys/kernel/random/boot_id") +
         "/" + process + "/" + beginOf(process);
}

std::string thisPhone() {
  const passwd* const user = getpwuid(geteuid());  // NOLINT(concurrency-mt-unsafe): one thread.
  utsname machine = {};
  ::uname(&machine);
  return (user != nullptr ? user->pw_name : std::to_string(geteuid())) + "@" + machine.nodename;
}

/// Where the name ends that tells it from others.
std::size_t endOfName(const std::string& run) {
  constexpr int kParts = 4;
  std::size_t end = run.find('/');
  for (int part = 1; part < kParts && end != std::string::npos; ++part)
    end = run.find('/', end + 1);
  return end;
}

}  // namespace

std::string nameOfThisRun() { return nameOf(std::to_string(getpid())) + "/" + thisPhone(); }

std::string phoneOfRun(const std::string& run) {
  const std::size_t end = endOfName(run);
  return end == std::string::npos ? "" : run.substr(end + 1);
}

bool hasEnded(const std::string& run) {
  std::istringstream parts(run);
  std::string machine;
  std::string boot;
  std::string process;
  std::getline(parts, machine, '/');
  std::getline(parts, boot, '/');
  std::getline(parts, process, '/');
  if (machine != firstLineOf("/etc/machine-id")) return false;
  if (process.empty() || process.find_first_not_of("0123456789") != std::string::npos) return false;
  return run.substr(0, endOfName(run)) != nameOf(process);
}

}  // namespace host
