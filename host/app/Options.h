#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "host/bluetooth/DeviceRegistry.h"

namespace host {

/// The command line of phone-host.
struct Options {
  bool check = false;      ///< only check whether the phone could start
  std::string service;     ///< class name of the service
  std::string plugin;      ///< path of its library, empty for the default
  std::string connection;  ///< of the phonebook, empty for the default
  std::string bus;         ///< "session", "system" or a D-Bus address
  int logLevel = 0;
  std::string logFile;         ///< empty for standard error
  std::uint64_t logBytes = 0;  ///< size limit of a log file
  std::size_t logFiles = 0;    ///< number of log files
  std::string adapter;         ///< name or address, empty for the first adapter
  AdmissionPolicy policy;
  bool retryForbidden = true;  ///< see `LinkPolicy::Options`
  bool receive = false;        ///< from the start
};

/// Parses the command line. Returns false if the program must exit with `code` (after --help,
/// --version or an error, which has been printed).
bool readOptions(int argc, char** argv, Options& options, int& code);

// The defaults that depend on the installation. Throw std::runtime_error if they can't be found
// out.

/// The service's library in the build or installation that this program belongs to.
std::string defaultPlugin(const std::string& service);
/// The phonebook in the user's state directory, which need not exist.
std::string defaultConnection();
/// Fills in `plugin` and `connection` if they are empty.
void fillDefaults(Options& options);

}  // namespace host
