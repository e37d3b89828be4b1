#include "host/app/ProcessSetup.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>

#include "host/app/StopSignals.h"

namespace host {
namespace {

constexpr rlim_t kMaxDescriptors = 1024;

void openStandardDescriptors() {
  // The lowest free one is what open returns, so the loop fills the gaps from below.
  int descriptor = 0;
  do {
    descriptor = open("/dev/null", O_RDWR);
  } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
  if (descriptor >= 0) close(descriptor);
}

void limitDescriptors() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = std::min(kMaxDescriptors, limit.rlim_max);
  setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace

void setUpProcess() {
  openStandardDescriptors();
  limitDescriptors();
  std::signal(SIGPIPE, SIG_IGN);
  umask(umask(022) | 022);
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  StopSignals::block();
}

}  // namespace host
