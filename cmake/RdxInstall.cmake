# Installs the shared library, its headers, a CMake package (RDXGlobalLib::RDXGlobalLib) and a
# pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS RDXGlobalLib EXPORT RDXGlobalLibTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT RDXGlobalLibTargets NAMESPACE RDXGlobalLib::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/RDXGlobalLib)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/RDXGlobalLibConfig.cmake.in
  ${PROJECT_BINARY_DIR}/RDXGlobalLibConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/RDXGlobalLib)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/RDXGlobalLibConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/RDXGlobalLibConfig.cmake
  ${PROJECT_BINARY_DIR}/RDXGlobalLibConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/RDXGlobalLib)

configure_file(${PROJECT_SOURCE_DIR}/cmake/RDXGlobalLib.pc.in
  ${PROJECT_BINARY_DIR}/RDXGlobalLib.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/RDXGlobalLib.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
