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
  $<$<BOOL:${PHONE_WERROR}>:-Werror>)

if(PHONE_SANITIZE)
  target_compile_options(phone_options INTERFACE
    -fsanitize=${PHONE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(phone_options INTERFACE -fsanitize=${PHONE_SANITIZE})
endif()

if(PHONE_COVERAGE)
  target_compile_options(phone_options INTERFACE --coverage)
  target_link_options(phone_options INTERFACE --coverage)
endif()
