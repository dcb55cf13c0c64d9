# What a driver of one's own needs of an installation: the exported targets with their config files for
# find_package(samplefold_1), and a pkg-config file. The targets install themselves where they are made.

include(CMakePackageConfigHelpers)

set(SF_PACKAGE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/samplefold_1")

install(EXPORT samplefold_1Targets NAMESPACE samplefold_1:: DESTINATION "${SF_PACKAGE_DIR}")

configure_package_config_file(
  "${CMAKE_CURRENT_LIST_DIR}/samplefold_1Config.cmake.in"
  "${CMAKE_BINARY_DIR}/samplefold_1Config.cmake"
  INSTALL_DESTINATION "${SF_PACKAGE_DIR}")
# Before 1.0 a minor version may change what a driver sees.
write_basic_package_version_file("${CMAKE_BINARY_DIR}/samplefold_1ConfigVersion.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES
  "${CMAKE_BINARY_DIR}/samplefold_1Config.cmake" "${CMAKE_BINARY_DIR}/samplefold_1ConfigVersion.cmake"
  DESTINATION "${SF_PACKAGE_DIR}")

# Paths in the pkg-config file are relative to it, so that an installation can be moved.
file(RELATIVE_PATH SF_PC_PREFIX
  "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
configure_file("${CMAKE_CURRENT_LIST_DIR}/samplefold_1.pc.in" "${CMAKE_BINARY_DIR}/samplefold_1.pc" @ONLY)
install(FILES "${CMAKE_BINARY_DIR}/samplefold_1.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

install(FILES "${CMAKE_SOURCE_DIR}/LICENSE" DESTINATION "${CMAKE_INSTALL_DOCDIR}")
