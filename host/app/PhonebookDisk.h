#pragma once

#include <string>

#include "host/app/Problem.h"

namespace host {

/// Whether the disk of the phonebook of this connection has no room for another entry. Of one that
/// isn't a file of this machine, named by its absolute path, nothing is known: no problem. Threads:
/// any.
Problem phonebookDiskProblem(const std::string& connection);

}  // namespace host
