# Debian packages, one for each install component: cpack -G DEB in a build with the prefix /usr.
set(PHONE_MAINTAINER "The obexphone developers <packages@obexphone.org>" CACHE STRING
  "Maintainer of the Debian packages: Name <address>")
set(obexphone_packages obexphone obexphone-tools obexphone-radio)

# Changelog and copyright file of every package.
configure_file(debian/changelog.in changelog @ONLY)
add_custom_command(OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz
  COMMAND gzip -9nc changelog > changelog.gz
  DEPENDS ${CMAKE_CURRENT_BINARY_DIR}/changelog VERBATIM)
add_custom_target(package_changelog ALL DEPENDS ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz)
foreach(package IN LISTS obexphone_packages)
  set(folder ${CMAKE_INSTALL_DATADIR}/doc/${package})
  install(FILES debian/copyright DESTINATION ${folder} COMPONENT ${package})
  # A native package (no Debian revision) has just this one changelog.
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
# dpkg-shlibdeps adds the libraries that the programs link.
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
Receives vCards that nearby phones push over Bluetooth (OBEX Object Push),
asks the user and stores them in a phonebook, including photos. Sends
contacts to other phones, too.
.
This package has the service, for the system or for a single user, with a
D-Bus interface.")

set(CPACK_DEBIAN_OBEXPHONE-TOOLS_PACKAGE_NAME obexphone-tools)
set(CPACK_DEBIAN_OBEXPHONE-TOOLS_PACKAGE_SECTION comm)
set(CPACK_DEBIAN_OBEXPHONE-TOOLS_PACKAGE_DEPENDS "${same_version}")
set(CPACK_DEBIAN_OBEXPHONE-TOOLS_DESCRIPTION "business cards by Bluetooth, command-line tools
phonectl controls the service: it switches receiving on and off, shows
incoming cards, accepts or rejects them, sends contacts and manages the
phonebook. cardtool reads and writes vCards without the service.")

set(CPACK_DEBIAN_OBEXPHONE-RADIO_PACKAGE_NAME obexphone-radio)
set(CPACK_DEBIAN_OBEXPHONE-RADIO_PACKAGE_SECTION comm)
set(CPACK_DEBIAN_OBEXPHONE-RADIO_PACKAGE_RECOMMENDS
  "obexphone-tools (= ${PROJECT_VERSION}), dbus-daemon, obexftp, openobex-apps")
set(CPACK_DEBIAN_OBEXPHONE-RADIO_DESCRIPTION "business cards by Bluetooth, without a Bluetooth adapter
A virtual radio that connects programs over emulated Bluetooth RFCOMM
sockets, and a demonstration of obexphone on it.")

include(CPack)
