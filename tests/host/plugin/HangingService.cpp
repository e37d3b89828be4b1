#include <unistd.h>

// Blocks the process that loads it for ever.
namespace {

__attribute__((constructor)) void hang() {
  for (;;) ::pause();
}

}  // namespace
