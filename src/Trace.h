#pragma once

#include "framework/Logging.h"

// Log macros of the service. A source file that uses them first defines its component and itself:
//
//   constexpr const char* kLogComponent = "OBEX Service";
//   constexpr const char* kLogSource = "./src/OBEXService.cpp";
//
// Errors are always logged, traces only at the trace level. TRACE_EXIT is not a scope guard because
// most operations don't log an exit when they return early.

#define LOG_ERROR(...) logAppUni(kLogComponent, kLogSource, kLogError, __LINE__, __VA_ARGS__)

#define TRACE(...)                                                            \
  do {                                                                        \
    if (loggingOnAppUni(kLogComponent, kLogTrace)) {                          \
      logAppUni(kLogComponent, kLogSource, kLogTrace, __LINE__, __VA_ARGS__); \
    }                                                                         \
  } while (false)

#define TRACE_ENTRY(name) TRACE(">%s", name)
#define TRACE_EXIT(name) TRACE("<%s", name)
