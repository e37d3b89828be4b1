#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "cards/Contact.h"

namespace phonectl {

// Contacts that a command takes as JSON. Threads: main only.

/// Adds `--json FILE|-` to a command; `file` gets its value and must outlive the command.
CLI::Option* addContactFile(CLI::App& app, std::string& file);

/// Reads it. Throws Failure with a sentence that names the file.
contacts::Contact readContactFile(const std::string& file);

}  // namespace phonectl
