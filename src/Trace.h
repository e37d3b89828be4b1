#pragma once

#include "framework/Logging.h"

// How the service's sources write log lines. A source file that uses these names its component and
// itself first:
//
//   constexpr const char* kLogComponent = "OBEX Service";
//   constexpr const char* kLogSource = "./src/OBEXService.cpp";
//
// Errors are written always, traces only when they are wanted. Entry and exit are macros of their
// own and not a scope guard, because an operation that ends early mostly doesn't write its exit.

#define LOG_ERROR(...) logAppUni(kLogComponent, kLogSource, kLogError, __LINE__, __VA_ARGS__)

#define TRACE(...)                                                            \
  do {                                                                        \
    if (loggingOnAppUni(kLogComponent, kLogTrace)) {                          \
      logAppUni(kLogComponent, kLogSource, kLogTrace, __LINE__, __VA_ARGS__); \
    }                                                                         \
  } while (false)

#define TRACE_ENTRY(name) TRACE(">%s", name)
#define TRACE_EXIT(name) TRACE("<%s", name)
