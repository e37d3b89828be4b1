#include "host/app/DefaultPaths.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace host {
namespace {

namespace fs = std::filesystem;

std::string libraryName(const std::string& service) {
  std::string name = "lib" + service + ".so";
  std::transform(name.begin(), name.end(), name.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return name;
}

std::string environment(const char* name) {
  const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): nobody sets variables.
  return value != nullptr ? value : "";
}

fs::path home() {
  const std::string set = environment("HOME");
  if (!set.empty() && set.front() == '/') return set;
  const passwd* user = getpwuid(getuid());  // NOLINT(concurrency-mt-unsafe): at start, one thread.
  if (user == nullptr || user->pw_dir == nullptr || *user->pw_dir != '/')
    throw std::runtime_error(
        "there is no home folder for the phonebook: name one with --phonebook");
  return user->pw_dir;
}

/// A relative XDG_STATE_HOME counts as unset.
fs::path stateHome() {
  const std::string set = environment("XDG_STATE_HOME");
  if (!set.empty() && set.front() == '/') return set;
  return home() / ".local" / "state";
}

}  // namespace

std::string defaultPlugin(const std::string& service) {
  std::error_code error;
  const fs::path program = fs::read_symlink("/proc/self/exe", error);
  if (error) throw std::runtime_error("the program can't find itself: name the --plugin");
  const fs::path folder = program.parent_path();
  const std::array<fs::path, 2> places = {folder / PHONE_PLUGIN_FROM_PROGRAM, folder / "../lib"};
  for (const fs::path& place : places) {
    const fs::path file = (place / libraryName(service)).lexically_normal();
    if (fs::exists(file, error)) return file.string();
  }
  throw std::runtime_error("the service plug-in " + libraryName(service) + " is neither in " +
                           places[0].lexically_normal().string() + " nor in " +
                           places[1].lexically_normal().string() + ": name it with --plugin");
}

std::string defaultConnection() {
  return "sqlite3://" + (stateHome() / "obexphone" / "phonebook.db").string();
}

}  // namespace host
