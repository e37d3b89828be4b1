# What every target of the house is compiled with: link phone_options to get it.

set(PHONE_SANITIZE "" CACHE STRING "Sanitizers to build with: empty, \"address,undefined\" or \"thread\"")
option(PHONE_WERROR "Treat warnings as errors" ON)
option(PHONE_TESTS "Build the tests" ON)
option(PHONE_BENCH "Build the programs that measure speed" ON)
option(PHONE_BENCH_COMPARE "Build the same around the stock libraries of bench/compare" OFF)
option(PHONE_COVERAGE "Measure how much the tests reach" OFF)

add_library(phone_options INTERFACE)
target_include_directories(phone_options INTERFACE ${CMAKE_SOURCE_DIR})
target_compile_options(phone_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Wold-style-cast
  # The OBEX library's own constants are made of two enumerations each.
  -Wno-deprecated-enum-enum-conversion
  # g++ 12 takes a short text that is assigned to a std::string for an overlap (its bug 105651).
  $<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>>:-Wno-restrict>
  $<$<BOOL:${PHONE_WERROR}>:-Werror>)

# For tests and for programs that wait for their user: where one builds often, optimising them takes longer than it saves.
# What they stand on is optimised, and so is everything that is shipped.
add_library(phone_quick_build INTERFACE)
target_compile_options(phone_quick_build INTERFACE $<$<CONFIG:RelWithDebInfo>:-O0>)

# Lets a compiler cache find precompiled headers again.
add_compile_options("$<$<CXX_COMPILER_ID:Clang>:SHELL:-Xclang -fno-pch-timestamp>")

if(PHONE_SANITIZE)
  # The lines are enough for a stack trace, and link faster.
  target_compile_options(phone_options INTERFACE
    -fsanitize=${PHONE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer
    $<$<CXX_COMPILER_ID:Clang>:-gline-tables-only>)
  target_link_options(phone_options INTERFACE -fsanitize=${PHONE_SANITIZE})
endif()

if(PHONE_COVERAGE)
  target_compile_options(phone_options INTERFACE --coverage)
  target_link_options(phone_options INTERFACE --coverage)
endif()
