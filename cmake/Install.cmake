# What an installed copy consists of.
include(CMakePackageConfigHelpers)

install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS tavrik EXPORT tavrikTargets)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/tavrik)
install(EXPORT tavrikTargets NAMESPACE tavrik:: DESTINATION ${package_dir})
configure_package_config_file(packaging/tavrikConfig.cmake.in tavrikConfig.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(tavrikConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/tavrikConfig.cmake
  ${PROJECT_BINARY_DIR}/tavrikConfigVersion.cmake
  DESTINATION ${package_dir})

# Paths relative to the file keep an installed copy movable.
file(RELATIVE_PATH pc_includedir
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_FULL_INCLUDEDIR})
configure_file(packaging/libtavrik.pc.in libtavrik.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/libtavrik.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
