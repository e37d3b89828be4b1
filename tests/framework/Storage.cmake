# The tests of Storage see its private classes too, so they are linked with the framework's objects and not its library.
file(GLOB storage_test_sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_LIST_DIR}/Storage*Test.cpp)
if(PHONE_SANITIZE MATCHES thread)
  # It replaces operator new, which that sanitizer's runtime does not let anyone else do.
  list(FILTER storage_test_sources EXCLUDE REGEX StorageMemoryTest)
endif()
phone_add_test(storage_tests
  SOURCES ${storage_test_sources} ${CMAKE_CURRENT_LIST_DIR}/StorageFixture.cpp
  LIBRARIES spdlog::spdlog nlohmann_json::nlohmann_json utf8cpp Threads::Threads
  TIMEOUT 300)
target_sources(storage_tests PRIVATE $<TARGET_OBJECTS:phoneframework>)
target_include_directories(storage_tests PRIVATE
  ${CMAKE_SOURCE_DIR}/framework/include ${CMAKE_SOURCE_DIR}/framework/src)
