#pragma once

/// Says once per process, on standard error, why the radio cannot work. errno is kept.

namespace radio {

void complain(const char* what, const char* which, const char* why);

}  // namespace radio
