#pragma once

#include "framework/Logging.h"

// The host's lines in the telephone's log. The format is printf's.
#define HOST_LOG_ERROR(...) logAppUni("Phone Host", __FILE_NAME__, kLogError, __LINE__, __VA_ARGS__)
#define HOST_LOG_TRACE(...)                                                     \
  do {                                                                          \
    if (loggingOnAppUni("Phone Host", kLogTrace))                               \
      logAppUni("Phone Host", __FILE_NAME__, kLogTrace, __LINE__, __VA_ARGS__); \
  } while (false)
