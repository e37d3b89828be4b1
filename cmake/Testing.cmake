# phone_add_test(NAME SOURCES FILE... LIBRARIES TARGET... [LOCK RESOURCE] [TIMEOUT SECONDS] [ENVIRONMENT VAR=VALUE...])
# makes one GoogleTest program and registers each of its tests with ctest. Tests that share a LOCK never run at the same
# time: IMAGES is the real images folder.

if(PHONE_TESTS)
  find_package(GTest REQUIRED)
  include(GoogleTest)
endif()

# Where the sanitizers find what is not ours to mend, and the leaks that are kept, each with its reason.
set(PHONE_SANITIZER_ENVIRONMENT
  "ASAN_OPTIONS=detect_leaks=1:detect_stack_use_after_return=1:strict_string_checks=1"
  "LSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/tests/sanitizers/leaks.supp:print_suppressions=0"
  "UBSAN_OPTIONS=print_stacktrace=1"
  "TSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/tests/sanitizers/threads.supp:ignore_noninstrumented_modules=1:second_deadlock_stack=1")

function(phone_add_test name)
  cmake_parse_arguments(TEST "" "LOCK;TIMEOUT" "SOURCES;LIBRARIES;ENVIRONMENT" ${ARGN})
  if(NOT TEST_TIMEOUT)
    set(TEST_TIMEOUT 120)
  endif()
  add_executable(${name} ${TEST_SOURCES})
  target_link_libraries(${name} PRIVATE phone_options ${TEST_LIBRARIES} GTest::gmock GTest::gtest_main)
  set(properties TIMEOUT ${TEST_TIMEOUT})
  if(TEST_LOCK)
    list(APPEND properties RESOURCE_LOCK ${TEST_LOCK})
  endif()
  set(environment ${PHONE_SANITIZER_ENVIRONMENT} ${TEST_ENVIRONMENT})
  gtest_discover_tests(${name}
    TEST_PREFIX "${name}."
    DISCOVERY_TIMEOUT 120
    PROPERTIES ${properties} ENVIRONMENT "${environment}")
endfunction()
