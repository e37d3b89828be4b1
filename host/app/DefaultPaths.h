#pragma once

#include <string>

namespace host {

/// The library of a service as it lies beside this program: where both were built or installed.
/// Throws std::runtime_error when it is in neither place.
std::string defaultPlugin(const std::string& service);

/// The connection of the phonebook in the user's state folder (XDG_STATE_HOME), which need not be
/// there yet. Throws std::runtime_error when there is no home.
std::string defaultConnection();

}  // namespace host
