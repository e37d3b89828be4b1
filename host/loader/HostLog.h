#pragma once

#include "framework/Logging.h"

// The host's log lines, printf style: ERROR for what went wrong and needs someone, INFO for what
// happened, TRACE for debugging.
#define HOST_LOG_ERROR(...) logAppUni("Phone Host", __FILE_NAME__, kLogError, __LINE__, __VA_ARGS__)
#define HOST_LOG_INFO(...) HOST_LOG_IF_WANTED(kLogInfo, __VA_ARGS__)
#define HOST_LOG_TRACE(...) HOST_LOG_IF_WANTED(kLogTrace, __VA_ARGS__)
#define HOST_LOG_IF_WANTED(level, ...)                                      \
  do {                                                                      \
    if (loggingOnAppUni("Phone Host", level))                               \
      logAppUni("Phone Host", __FILE_NAME__, level, __LINE__, __VA_ARGS__); \
  } while (false)
