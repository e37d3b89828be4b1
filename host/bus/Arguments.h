#pragma once

#include <glib.h>

#include <cstddef>
#include <string>

#include "framework/Method.h"

namespace host {

// Conversion between the parameters of a message and the one `a{sv}` that carries them on the bus:
// bool is `b`, int is `i`, string is `s`, or `ay` if it is not valid UTF-8 or contains NUL.
//
// Threads: any.

/// Largest message body that is sent, in bytes. The system bus disconnects the sender of a message
/// above 32 MiB; 4 KiB are left for the header.
inline constexpr std::size_t kMaxBody = (std::size_t{32} << 20) - 4096;

/// Appends the values in `body` to `method` as parameters with this direction, in their order.
/// Values of other types are left out, and `problem` names the last of them. Returns false and
/// describes the error in `problem` if `body` is null or not `(a{sv})`.
bool readArguments(GVariant* body, Parameter::directions direction, Method& method,
                   std::string& problem);

/// The `(a{sv})` of the parameters in `method` that have this direction. Floating.
GVariant* makeArguments(const Method& method, Parameter::directions direction);

}  // namespace host
