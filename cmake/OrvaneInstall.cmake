# Installs the headers, the shared library, the CMake package (Orvane::orvane)
# and orvane.pc.
include(CMakePackageConfigHelpers)

install(DIRECTORY include/orvane DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        FILES_MATCHING PATTERN "*.h")
install(TARGETS orvane EXPORT OrvaneTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT OrvaneTargets NAMESPACE Orvane::
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Orvane)

configure_package_config_file(cmake/OrvaneConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/OrvaneConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Orvane)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/OrvaneConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/OrvaneConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/OrvaneConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Orvane)

configure_file(cmake/orvane.pc.in ${CMAKE_CURRENT_BINARY_DIR}/orvane.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/orvane.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
