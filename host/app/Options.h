#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "host/bluetooth/DeviceRegistry.h"

namespace host {

/// What the user asked for on the command line.
struct Options {
  bool check = false;      ///< only tell whether the phone could start
  std::string service;     ///< the service's name
  std::string plugin;      ///< path of its library, empty for the default one
  std::string connection;  ///< of the phonebook, empty for the default one
  std::string bus;
  int logLevel = 0;
  std::string logFile;         ///< empty for standard error
  std::uint64_t logBytes = 0;  ///< how large it may become
  std::size_t logFiles = 0;    ///< how many there may be, it and those moved aside
  std::string adapter;         ///< the Bluetooth adapter to use, empty for the first
  AdmissionPolicy policy;
  bool receive = false;  ///< from the start on
};

/// Reads the command line. When that is all there is to do (--help, --version, a mistake), says so
/// to the user, puts the exit code into `code` and returns false.
bool readOptions(int argc, char** argv, Options& options, int& code);

/// Fills in what was left to the default. Throws std::runtime_error when that can't be found out.
void fillDefaults(Options& options);

}  // namespace host
