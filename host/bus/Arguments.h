#pragma once

#include <glib.h>

#include <string>

#include "framework/Method.h"

namespace host {

/// Between the named parameters of a message and the one `a{sv}` that carries them on the bus: a
/// bool is `b`, an int `i`, a string `s`, or `ay` when it is not valid UTF-8 or holds a NUL, which
/// D-Bus's strings can't.
///
/// Stateless: any thread.

/// Appends what `body` holds to `method` as parameters of this direction, in the order in which
/// they stand. Null, and any body but `(a{sv})` with values of those types, puts a sentence into
/// `problem` and returns false; `method` may hold a part of them then.
bool readArguments(GVariant* body, Parameter::directions direction, Method& method,
                   std::string& problem);

/// The body `(a{sv})` of those parameters of `method` that have this direction. Floating.
GVariant* makeArguments(const Method& method, Parameter::directions direction);

}  // namespace host
