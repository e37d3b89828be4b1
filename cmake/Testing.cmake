# phone_add_test(NAME SOURCES FILE... LIBRARIES TARGET... [LOCK RESOURCE] [TIMEOUT SECONDS] [ENVIRONMENT VAR=VALUE...])
# builds a GoogleTest program and registers each of its tests with ctest. Tests with the same LOCK never run at the same time; the
# lock of the real images folder is IMAGES.

if(PHONE_TESTS)
  find_package(GTest REQUIRED)
  include(GoogleTest)
endif()

# The suppression files give a reason for each entry. atexit_sleep_ms is 1000 by default, too long for thousands of programs.
set(PHONE_SANITIZER_ENVIRONMENT
  "ASAN_OPTIONS=detect_leaks=1:detect_stack_use_after_return=1:strict_string_checks=1"
  "LSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/tests/sanitizers/leaks.supp:print_suppressions=0"
  "UBSAN_OPTIONS=print_stacktrace=1"
  "TSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/tests/sanitizers/threads.supp:ignore_noninstrumented_modules=1:second_deadlock_stack=1:atexit_sleep_ms=100")

if(PHONE_TESTS)
  # Precompiled headers for all tests. The sources must still include what they use: the coverage preset disables this.
  add_library(phone_test_options INTERFACE)
  target_link_libraries(phone_test_options INTERFACE phone_options phone_quick_build GTest::gmock)
  # All users of a precompiled header need the same options; only some libraries add this one.
  target_compile_options(phone_test_options INTERFACE -pthread)

  add_library(test_headers OBJECT ${CMAKE_SOURCE_DIR}/cmake/test_headers.cpp)
  target_link_libraries(test_headers PRIVATE phone_test_options)
  # Precompiled headers need the options of the programs.
  set_target_properties(test_headers PROPERTIES POSITION_INDEPENDENT_CODE OFF)
  target_compile_options(test_headers PRIVATE -fPIE)
  target_precompile_headers(test_headers PRIVATE
    <gmock/gmock.h> <gtest/gtest.h>
    <algorithm> <atomic> <chrono> <condition_variable> <cstdint> <filesystem> <fstream> <functional> <iostream> <map>
    <memory> <mutex> <sstream> <string> <string_view> <thread> <vector>)
endif()

function(phone_add_test name)
  cmake_parse_arguments(TEST "" "LOCK;TIMEOUT" "SOURCES;LIBRARIES;ENVIRONMENT" ${ARGN})
  if(NOT TEST_TIMEOUT)
    set(TEST_TIMEOUT 120)
  endif()
  add_executable(${name} ${TEST_SOURCES})
  target_link_libraries(${name} PRIVATE phone_test_options ${TEST_LIBRARIES} GTest::gtest_main)
  target_precompile_headers(${name} REUSE_FROM test_headers)
  set(properties TIMEOUT ${TEST_TIMEOUT})
  if(TEST_LOCK)
    list(APPEND properties RESOURCE_LOCK ${TEST_LOCK})
  endif()
  gtest_discover_tests(${name}
    TEST_PREFIX "${name}."
    DISCOVERY_TIMEOUT 120
    PROPERTIES ${properties})
  # gtest_discover_tests() can't pass a list, so this is set when ctest loads the tests.
  set(environment "${PHONE_SANITIZER_ENVIRONMENT};${TEST_ENVIRONMENT}")
  set(environment_file ${CMAKE_CURRENT_BINARY_DIR}/${name}_environment.cmake)
  file(CONFIGURE OUTPUT ${environment_file} @ONLY CONTENT [[
foreach(test IN LISTS @name@_TESTS)
  set_tests_properties("${test}" PROPERTIES ENVIRONMENT "@environment@")
endforeach()
]])
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${environment_file})
endfunction()
