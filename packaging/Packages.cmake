# Debian packages: cpack -G DEB, in a build whose prefix is /usr. One package for each component of the install rules.
set(PHONE_MAINTAINER "The obexphone developers <packages@obexphone.org>" CACHE STRING
  "Who answers for the Debian packages: a name, and an address in angle brackets")
set(obexphone_packages obexphone obexphone-tools obexphone-radio)

# What every package has in its documentation.
configure_file(debian/changelog.in changelog @ONLY)
add_custom_command(OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz
  COMMAND gzip -9nc changelog > changelog.gz
  DEPENDS ${CMAKE_CURRENT_BINARY_DIR}/changelog VERBATIM)
add_custom_target(package_changelog ALL DEPENDS ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz)
foreach(package IN LISTS obexphone_packages)
  set(folder ${CMAKE_INSTALL_DATADIR}/doc/${package})
  install(FILES debian/copyright DESTINATION ${folder} COMPONENT ${package})
  # The version has no part of a packager's own, so this is the one changelog there is.
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz DESTINATION ${folder} COMPONENT ${package})
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME obexphone)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "${PHONE_MAINTAINER}")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL ${obexphone_packages})
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# What the programs link; where these come from is found out from the system that builds.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})

set(same_version "obexphone (= ${PROJECT_VERSION})")
set(scripts ${CMAKE_CURRENT_SOURCE_DIR}/debian)

set(CPACK_DEBIAN_OBEXPHONE_PACKAGE_NAME obexphone)
set(CPACK_DEBIAN_OBEXPHONE_PACKAGE_SECTION comm)
set(CPACK_DEBIAN_OBEXPHONE_PACKAGE_DEPENDS
  "default-dbus-system-bus | dbus-system-bus, systemd | systemd-standalone-sysusers, systemd | systemd-standalone-tmpfiles")
set(CPACK_DEBIAN_OBEXPHONE_PACKAGE_RECOMMENDS "bluez, obexphone-tools")
set(CPACK_DEBIAN_OBEXPHONE_PACKAGE_CONTROL_EXTRA "${scripts}/postinst;${scripts}/prerm;${scripts}/postrm;${scripts}/conffiles")
set(CPACK_DEBIAN_OBEXPHONE_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_OBEXPHONE_DESCRIPTION "business cards by Bluetooth, for a Linux telephone
Any phone nearby pushes a card (OBEX Object Push), somebody says yes, and it
stands in the phonebook, photo included. Contacts go the other way.
.
This is the telephone itself, a service of the system or of a user that
programs talk to over D-Bus.")

set(CPACK_DEBIAN_OBEXPHONE-TOOLS_PACKAGE_NAME obexphone-tools)
set(CPACK_DEBIAN_OBEXPHONE-TOOLS_PACKAGE_SECTION comm)
set(CPACK_DEBIAN_OBEXPHONE-TOOLS_PACKAGE_DEPENDS "${same_version}")
set(CPACK_DEBIAN_OBEXPHONE-TOOLS_DESCRIPTION "business cards by Bluetooth, command-line tools
phonectl switches receiving on, shows the cards that come in, answers for
them, sends contacts and keeps the phonebook. cardtool reads and writes cards
as the telephone does, without one.")

set(CPACK_DEBIAN_OBEXPHONE-RADIO_PACKAGE_NAME obexphone-radio)
set(CPACK_DEBIAN_OBEXPHONE-RADIO_PACKAGE_SECTION comm)
set(CPACK_DEBIAN_OBEXPHONE-RADIO_PACKAGE_RECOMMENDS
  "obexphone-tools (= ${PROJECT_VERSION}), dbus-daemon, obexftp, openobex-apps")
set(CPACK_DEBIAN_OBEXPHONE-RADIO_DESCRIPTION "business cards by Bluetooth, without a Bluetooth adapter
A virtual radio for programs that use Bluetooth RFCOMM, and a demonstration
of the telephone on it.")

include(CPack)
