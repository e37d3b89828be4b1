#pragma once

#include "host/app/Options.h"

namespace host {

/// `phone-host --check`: checks whether the phone could start, without starting it. Prints a line
/// for each check, and after a FAULT another one with the remedy. phonectl parses them.
///
///     ok: phonebook: the default one, sqlite3://…, can be opened
///     FAULT: plug-in: the default one: …
///     remedy: plug-in: …
///
/// Call it on the main thread, before any other is created. Returns true if there is no fault.
bool runStartCheck(const Options& options);

}  // namespace host
