#include "radio/Complaint.h"

#include <atomic>
#include <cstdio>
#include <cstring>

#include "radio/Kernel.h"

namespace radio {

void complain(const char* what, const char* which, const char* why) {
  static constinit std::atomic<bool> said{false};
  if (said.exchange(true)) return;
  const kernel::KeepErrno keep;
  char line[512];
  std::snprintf(line, sizeof line, "virtual radio: %s \"%.300s\": %s\n", what, which, why);
  kernel::write(STDERR_FILENO, line, std::strlen(line));
}

}  // namespace radio
