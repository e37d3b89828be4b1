#include <cstdlib>

// Crashes the process that loads it.
namespace {

__attribute__((constructor)) void crash() { std::abort(); }

}  // namespace
