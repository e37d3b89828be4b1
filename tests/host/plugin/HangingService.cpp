#include <unistd.h>

// A library that can't be loaded in any time.
namespace {

__attribute__((constructor)) void hang() {
  for (;;) ::pause();
}

}  // namespace
