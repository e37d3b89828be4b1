# scripts/setup installs all of these.

find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_package(spdlog REQUIRED)
find_package(nlohmann_json REQUIRED)
find_package(CLI11 REQUIRED)
find_package(pugixml REQUIRED)
find_package(utf8cpp REQUIRED)
pkg_check_modules(giomm REQUIRED IMPORTED_TARGET giomm-2.68)
pkg_check_modules(openobex_library REQUIRED IMPORTED_TARGET openobex)

# Debian's SOCI has no CMake or pkg-config file.
find_path(SOCI_INCLUDE_DIR soci/soci.h REQUIRED)
find_library(SOCI_CORE_LIBRARY soci_core REQUIRED)
find_library(SOCI_SQLITE3_LIBRARY soci_sqlite3 REQUIRED)
add_library(soci_sqlite3 INTERFACE)
target_include_directories(soci_sqlite3 SYSTEM INTERFACE ${SOCI_INCLUDE_DIR} ${SOCI_INCLUDE_DIR}/soci)
target_link_libraries(soci_sqlite3 INTERFACE ${SOCI_SQLITE3_LIBRARY} ${SOCI_CORE_LIBRARY})
pkg_check_modules(libpq REQUIRED IMPORTED_TARGET libpq)
find_library(SOCI_POSTGRESQL_LIBRARY soci_postgresql REQUIRED)
add_library(soci_postgresql INTERFACE)
target_link_libraries(soci_postgresql INTERFACE ${SOCI_POSTGRESQL_LIBRARY} soci_sqlite3 PkgConfig::libpq)
