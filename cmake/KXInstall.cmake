# The installed side: libraries, headers, a CMake package and a pkg-config file.

include(CMakePackageConfigHelpers)

set(kx_package_folder "${CMAKE_INSTALL_LIBDIR}/cmake/KXCoreLib")

install(TARGETS KXCoreLib KXPlatform EXPORT KXCoreLibTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libkxcore1 NAMELINK_COMPONENT libkxcore-dev
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libkxcore-dev
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT libkxcore1)
set(kx_header_folders KXCoreLib/include)
if(NOT APPLE)
  list(APPEND kx_header_folders Platform/System/include Platform/CoreFoundation/include Platform/CoreServices/include
       Platform/SystemConfiguration/include)
endif()
kx_check_exported_headers(FOLDERS ${kx_header_folders} GATHERING CoreFoundation/CoreFoundation.h)

install(DIRECTORY KXCoreLib/include/KXCoreLib DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT libkxcore-dev FILES_MATCHING PATTERN "*.h")
if(NOT APPLE)
  # The platform's headers carry the names of the system's own; a folder of their own keeps the two apart.
  install(DIRECTORY Platform/System/include/ Platform/CoreFoundation/include/ Platform/CoreServices/include/
                    Platform/SystemConfiguration/include/
          DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/KXPlatform COMPONENT libkxcore-dev FILES_MATCHING PATTERN "*.h")
  # Where systemd looks for it; not below an architecture's folder of libraries.
  install(FILES Platform/SystemConfiguration/kxplatform.conf DESTINATION lib/tmpfiles.d COMPONENT libkxcore1)
endif()

install(EXPORT KXCoreLibTargets NAMESPACE KXCoreLib:: DESTINATION ${kx_package_folder} COMPONENT libkxcore-dev)
configure_package_config_file(cmake/KXCoreLibConfig.cmake.in "${PROJECT_BINARY_DIR}/KXCoreLibConfig.cmake"
                              INSTALL_DESTINATION ${kx_package_folder})
write_basic_package_version_file("${PROJECT_BINARY_DIR}/KXCoreLibConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/KXCoreLibConfig.cmake" "${PROJECT_BINARY_DIR}/KXCoreLibConfigVersion.cmake"
        DESTINATION ${kx_package_folder} COMPONENT libkxcore-dev)

if(APPLE)
  set(kx_pc_libs "-lKXCoreLib -framework CoreFoundation -framework SystemConfiguration -framework CoreServices")
  set(kx_pc_cflags "")
else()
  set(kx_pc_libs "-lKXCoreLib -lKXPlatform -luuid")
  set(kx_pc_cflags "-I\${includedir}/KXPlatform")
endif()
# Told from where the file itself lies, so that a copy installed elsewhere is found too.
file(RELATIVE_PATH kx_pc_prefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
configure_file(cmake/KXCoreLib.pc.in "${PROJECT_BINARY_DIR}/KXCoreLib.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/KXCoreLib.pc" DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT libkxcore-dev)

# What the headers refer to.
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libkxcore-dev COMPONENT libkxcore-dev
        FILES_MATCHING PATTERN "*.md")

if(NOT APPLE)
  include(KXPackage)
endif()
