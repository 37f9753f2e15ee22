# Debian packages, one for each component: scripts/package makes them.

set(kx_package "${PROJECT_SOURCE_DIR}/cmake/package")
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kxcorelib)
set(CPACK_PACKAGE_CONTACT "KXCoreLib developers <developers@kxcorelib.invalid>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DIRECTORY "${PROJECT_SOURCE_DIR}/build/package")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL libkxcore1 libkxcore-dev kxtool kxagent)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${PROJECT_BINARY_DIR}/KXCoreLib" "${PROJECT_BINARY_DIR}/Platform")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(kx_exactly "(= ${PROJECT_VERSION})")

set(CPACK_DEBIAN_LIBKXCORE1_PACKAGE_NAME libkxcore1)
set(CPACK_DEBIAN_LIBKXCORE1_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBKXCORE1_PACKAGE_CONTROL_EXTRA "${kx_package}/triggers")
set(CPACK_COMPONENT_LIBKXCORE1_DESCRIPTION "core library of an endpoint agent
 Audit records and their stream, access-control lists, accounts, text and
 run loops, for programs that control and audit the use of devices.")

set(CPACK_DEBIAN_LIBKXCORE-DEV_PACKAGE_NAME libkxcore-dev)
set(CPACK_DEBIAN_LIBKXCORE-DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_LIBKXCORE-DEV_PACKAGE_DEPENDS "libkxcore1 ${kx_exactly}, libboost-dev, libsqlite3-dev, uuid-dev")
set(CPACK_COMPONENT_LIBKXCORE-DEV_DESCRIPTION "core library of an endpoint agent, for developers
 Headers, a CMake package, a pkg-config file and the descriptions of the
 library's formats.")

set(CPACK_DEBIAN_KXTOOL_PACKAGE_NAME kxtool)
set(CPACK_DEBIAN_KXTOOL_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_KXTOOL_PACKAGE_DEPENDS "libkxcore1 ${kx_exactly}")
set(CPACK_COMPONENT_KXTOOL_DESCRIPTION "looks into streams and records of an endpoint agent
 Reads and writes streams, audit records and access-control lists from the
 command line, and asks a running agent how it is doing.")

set(CPACK_DEBIAN_KXAGENT_PACKAGE_NAME kxagent)
set(CPACK_DEBIAN_KXAGENT_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_KXAGENT_PACKAGE_DEPENDS "libkxcore1 ${kx_exactly}, systemd | systemd-standalone-sysusers")
set(CPACK_DEBIAN_KXAGENT_PACKAGE_SUGGESTS "kxtool")
set(CPACK_DEBIAN_KXAGENT_PACKAGE_CONTROL_EXTRA "${kx_package}/kxagent/postinst;${kx_package}/kxagent/prerm;${kx_package}/kxagent/postrm;${kx_package}/kxagent/conffiles")
set(CPACK_COMPONENT_KXAGENT_DESCRIPTION "device control and audit agent
 Watches devices come and go, decides each by an access-control list, and
 reports it without loss.")

# What every package holds: that there is no licence, and what changed.
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  install(FILES "${kx_package}/copyright" DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${component} COMPONENT ${component})
  install(FILES "${PROJECT_BINARY_DIR}/package/changelog.gz"
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${component} COMPONENT ${component} OPTIONAL)
endforeach()

include(CPack)
