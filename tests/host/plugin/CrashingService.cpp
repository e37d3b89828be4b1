#include <cstdlib>

// A library that ends the program which loads it.
namespace {

__attribute__((constructor)) void crash() { std::abort(); }

}  // namespace
