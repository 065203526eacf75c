# What an installed copy consists of.
include(CMakePackageConfigHelpers)

install(DIRECTORY include/ ${PROJECT_BINARY_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN "*.h" PATTERN "*.hpp")
install(TARGETS tavrik EXPORT tavrikTargets)

# What a program in C links beside a static library, unless its compiler for C++ links it.
set(cxx_library -lstdc++)
if("c++" IN_LIST CMAKE_CXX_IMPLICIT_LINK_LIBRARIES)
  set(cxx_library -lc++)
endif()

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/tavrik)
install(EXPORT tavrikTargets NAMESPACE tavrik:: DESTINATION ${package_dir})
configure_package_config_file(packaging/tavrikConfig.cmake.in tavrikConfig.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(tavrikConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/tavrikConfig.cmake
  ${PROJECT_BINARY_DIR}/tavrikConfigVersion.cmake
  DESTINATION ${package_dir})

# What a program links beside a static library. ZeroMQ is named as it was found, not required as a
# module: the modules that libzmq.pc requires for a static ZeroMQ do not link everywhere.
set(pc_libs_private "")
if(TAVRIK_LIBRARY_TYPE STREQUAL "STATIC")
  install(FILES cmake/ZeroMQ.cmake DESTINATION ${package_dir})
  if(NOT TAVRIK_ZEROMQ_LDFLAGS)
    set(TAVRIK_ZEROMQ_LDFLAGS -lzmq)
  endif()
  foreach(searched IN LISTS CMAKE_CXX_IMPLICIT_LINK_DIRECTORIES)
    list(REMOVE_ITEM TAVRIK_ZEROMQ_LDFLAGS -L${searched})
  endforeach()
  list(JOIN TAVRIK_ZEROMQ_LDFLAGS " " zeromq_libraries)
  set(pc_libs_private "${zeromq_libraries} ${cxx_library} -pthread -Wl,-z,nodelete")
endif()

# Paths relative to the file keep an installed copy movable.
file(RELATIVE_PATH pc_includedir
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_FULL_INCLUDEDIR})
configure_file(packaging/libtavrik.pc.in libtavrik.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/libtavrik.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
