# What `cmake --install` lays down: the public headers, both libraries, the CMake package and the pkg-config file.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/SharedLib)

install(TARGETS SharedLib SharedLibStatic EXPORT SharedLibTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY sharedlib DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN "*.h" PATTERN "*.inc"
  PATTERN "internal" EXCLUDE
  PATTERN "platform" EXCLUDE)

install(EXPORT SharedLibTargets NAMESPACE SharedLib:: DESTINATION ${package_dir})
configure_package_config_file(cmake/SharedLibConfig.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/SharedLibConfig.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/SharedLibConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/SharedLibConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/SharedLibConfigVersion.cmake
  DESTINATION ${package_dir})

# The pkg-config file finds its prefix from its own place, so that an installed tree can be moved.
file(RELATIVE_PATH SHAREDLIB_PC_PREFIX
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/sharedlib.pc.in ${CMAKE_CURRENT_BINARY_DIR}/sharedlib.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/sharedlib.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
