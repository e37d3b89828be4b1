#include "host/app/StartCheck.h"

#include <cstdio>
#include <exception>

#include "framework/Storage.h"
#include "host/app/DefaultPaths.h"
#include "host/app/ImagesFolder.h"
#include "host/app/PhonebookDisk.h"
#include "host/bus/ServiceObject.h"
#include "host/directory/PhoneBook.h"
#include "host/loader/ServicePlugin.h"

namespace host {
namespace {

constexpr const char* kDefault = "the default one";

void print(const char* kind, const char* what, const std::string& text) {
  std::string line = std::string(kind) + ": " + what + ": " + text;
  for (char& c : line) {
    // Names of files may hold anything.
    if (static_cast<unsigned char>(c) < ' ' || c == '\x7F') c = ' ';
  }
  std::puts(line.c_str());
  // What comes next may end the process.
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

}  // namespace

bool StartCheck::run() {
  checkPhonebook();
  checkImages();
  checkPlugin();
  return m_good;
}

void StartCheck::good(const char* what, const std::string& text) { print("ok", what, text); }

void StartCheck::fault(const char* what, const Problem& problem) {
  m_good = false;
  print("FAULT", what, problem.text);
  print("remedy", what, problem.remedy);
}

void StartCheck::checkPhonebook() {
  const bool isDefault = m_options.connection.empty();
  try {
    const std::string connection = isDefault ? defaultConnection() : m_options.connection;
    const std::string name = subject(isDefault, redactPassword(connection));
    const bool exists = phonebookExists(connection);
    const Problem disk = phonebookDiskProblem(connection);
    if (!disk.none())
      fault("phonebook", {name + " has no room: " + disk.text, disk.remedy});
    else if (!exists)
      good("phonebook", name + " is not there yet, and can be made");
    else
      good("phonebook", name + " can be opened");
  } catch (const std::exception& error) {
    fault("phonebook",
          {complaint(isDefault, error), "mend that, or name another with --phonebook"});
  }
}

void StartCheck::checkImages() {
  const std::string root = Storage::defaultRoot();
  Problem problem = imagesProblem(root);
  if (problem.none()) problem = imagesQuotaProblem(root, Storage::Limits());
  if (problem.none())
    good("images", root + " can be written");
  else
    fault("images", problem);
}

/// Last, since nobody knows what a library does when it is loaded.
void StartCheck::checkPlugin() {
  const bool isDefault = m_options.plugin.empty();
  try {
    const std::string file = isDefault ? defaultPlugin(m_options.service) : m_options.plugin;
    const ServiceNames names(m_options.service);
    const ServicePlugin plugin(file, names);
    const auto described = makeServiceObject(names, plugin.readIntrospection());
    good("plug-in", subject(isDefault, plugin.file()) + " can be loaded");
  } catch (const std::exception& error) {
    fault("plug-in",
          {complaint(isDefault, error), "build or install it anew, or name another with --plugin"});
  }
}

}  // namespace host
