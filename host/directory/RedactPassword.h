#pragma once

#include <string>

namespace host {

/// A connection string as it may be shown or logged: a password in it is blotted out, whatever is
/// wrong with the rest. Stateless: any thread.
std::string redactPassword(const std::string& connection);

}  // namespace host
