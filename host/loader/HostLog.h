#pragma once

#include "framework/Logging.h"

// The host's log lines, printf style: ERROR for what went wrong and needs someone, INFO for what
// happened, TRACE for debugging.
#define HOST_LOG_ERROR(...) logAppUni("Phone Host", __FILE_NAME__, kLogError, __LINE__, __VA_ARGS__)
#define HOST_LOG_TRACE(...)                                                     \
  do {                                                                          \
    if (loggingOnAppUni("Phone Host", kLogTrace))                               \
      logAppUni("Phone Host", __FILE_NAME__, kLogTrace, __LINE__, __VA_ARGS__); \
  } while (false)
