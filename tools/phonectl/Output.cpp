#include "tools/phonectl/Output.h"

#include <cerrno>
#include <cstring>
#include <iostream>

#include "tools/phonectl/Failure.h"

namespace phonectl {

void printLine(const std::string& line) { printPrompt(line + "\n"); }

void printPrompt(const std::string& text) {
  errno = 0;
  std::cout << text << std::flush;
  if (std::cout.good()) return;
  const char* const reason = errno == 0 ? nullptr : ::strerrordesc_np(errno);
  throw Failure(kFailed, std::string("can't write to standard output: ") +
                             (reason == nullptr ? "it is closed" : reason));
}

}  // namespace phonectl
