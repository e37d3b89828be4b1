#include "host/app/StartCheck.h"

#include <cstdio>
#include <exception>
#include <string>

#include "framework/Storage.h"
#include "host/app/StorageChecks.h"
#include "host/bus/BusObject.h"
#include "host/directory/PhoneBook.h"
#include "host/loader/ServicePlugin.h"

namespace host {
namespace {

constexpr const char* kDefault = "the default one";

void print(const char* kind, const char* what, const std::string& text) {
  std::string line = std::string(kind) + ": " + what + ": " + text;
  for (char& c : line) {
    // File names may contain control characters.
    if (static_cast<unsigned char>(c) < ' ' || c == '\x7F') c = ' ';
  }
  std::puts(line.c_str());
  // The next check may crash.
  std::fflush(stdout);
}

std::string subject(bool isDefault, const std::string& name) {
  return isDefault ? std::string(kDefault) + ", " + name + "," : name;
}

std::string complaint(bool isDefault, const std::exception& error) {
  return (isDefault ? std::string(kDefault) + ": " : "") + error.what();
}

bool phonebookExists(const std::string& connection) {
  PhoneBookOptions options;
  options.connection = connection;
  return PhoneBook::exists(options);
}

void printOk(const char* what, const std::string& text) { print("ok", what, text); }

/// Returns false.
bool printFault(const char* what, const Problem& problem) {
  print("FAULT", what, problem.text);
  print("remedy", what, problem.remedy);
  return false;
}

bool checkPhonebook(const Options& options) {
  const bool isDefault = options.connection.empty();
  try {
    const std::string connection = isDefault ? defaultConnection() : options.connection;
    const std::string name = subject(isDefault, redactPassword(connection));
    const bool exists = phonebookExists(connection);
    const Problem disk = phonebookDiskProblem(connection);
    if (!disk.none())
      return printFault("phonebook", {name + " has no room: " + disk.text, disk.remedy});
    printOk("phonebook",
            name + (exists ? " can be opened" : " doesn't exist yet, and can be created"));
    return true;
  } catch (const std::exception& error) {
    return printFault("phonebook", {complaint(isDefault, error),
                                    "fix that, or specify another one with --phonebook"});
  }
}

bool checkImages() {
  const std::string root = Storage::defaultRoot();
  Problem problem = imagesProblem(root);
  if (problem.none()) problem = imagesQuotaProblem(root, Storage::Limits());
  if (!problem.none()) return printFault("images", problem);
  printOk("images", root + " can be written");
  return true;
}

bool checkPlugin(const Options& options) {
  const bool isDefault = options.plugin.empty();
  try {
    const std::string file = isDefault ? defaultPlugin(options.service) : options.plugin;
    const ServiceNames names(options.service);
    const ServicePlugin plugin(file, names);
    static_cast<void>(makeServiceObject(names, plugin.readIntrospection()));
    printOk("plug-in", subject(isDefault, plugin.file()) + " can be loaded");
    return true;
  } catch (const std::exception& error) {
    return printFault("plug-in", {complaint(isDefault, error),
                                  "build or reinstall it, or specify another one with --plugin"});
  }
}

}  // namespace

bool runStartCheck(const Options& options) {
  const bool phonebook = checkPhonebook(options);
  const bool images = checkImages();
  // Last, because loading a library may crash.
  const bool plugin = checkPlugin(options);
  return phonebook && images && plugin;
}

}  // namespace host
