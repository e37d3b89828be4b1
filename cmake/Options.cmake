# phone_options: the compiler options of every target.

set(PHONE_SANITIZE "" CACHE STRING "Sanitizers to build with: empty, \"address,undefined\" or \"thread\"")
option(PHONE_WERROR "Treat warnings as errors" ON)
option(PHONE_TESTS "Build the tests" ON)
option(PHONE_BENCH "Build the benchmarks" ON)
option(PHONE_BENCH_COMPARE "Build the comparison benchmarks (bench/compare)" OFF)
option(PHONE_COVERAGE "Measure test coverage" OFF)

add_library(phone_options INTERFACE)
target_include_directories(phone_options INTERFACE ${CMAKE_SOURCE_DIR})
target_compile_options(phone_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Wold-style-cast
  # The OBEX library's constants combine values of two enumerations.
  -Wno-deprecated-enum-enum-conversion
  # False positives of g++ 12 for std::string (GCC bug 105651).
  $<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>>:-Wno-restrict>
  $<$<BOOL:${PHONE_WERROR}>:-Werror>)

# Builds tests and command line tools without optimisation, which would take longer than it saves. Not for release builds.
add_library(phone_quick_build INTERFACE)
target_compile_options(phone_quick_build INTERFACE $<$<CONFIG:RelWithDebInfo>:-O0>)

# Lets ccache reuse precompiled headers.
add_compile_options("$<$<CXX_COMPILER_ID:Clang>:SHELL:-Xclang -fno-pch-timestamp>")

if(PHONE_SANITIZE)
  # Line tables are enough for stack traces and link faster.
  target_compile_options(phone_options INTERFACE
    -fsanitize=${PHONE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer
    $<$<CXX_COMPILER_ID:Clang>:-gline-tables-only>)
  target_link_options(phone_options INTERFACE -fsanitize=${PHONE_SANITIZE})
endif()

if(PHONE_COVERAGE)
  target_compile_options(phone_options INTERFACE --coverage)
  target_link_options(phone_options INTERFACE --coverage)
endif()
