#pragma once

namespace cardtool {

/// What cardtool's exit code says. Documented in `--help`.
enum ExitCode : int {
  kDone = 0,
  kFailed =
      1,       ///< the card or contact can't be read, or its picture or the output can't be written
  kUsage = 2,  ///< the command line is wrong
  kNoInput = 3  ///< a file or folder that was named can't be used
};

}  // namespace cardtool
