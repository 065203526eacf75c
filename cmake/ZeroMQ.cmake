# Defines tavrik::libzmq: an existing target libzmq, else ZeroMQ's CMake package, else what pkg-config
# finds. Defines nothing if there is none. Installed beside a static library, whose users link ZeroMQ.
set(TAVRIK_NO_ZEROMQ
  "ZeroMQ 4.1 or newer is not found: neither a target libzmq, nor a CMake package, nor libzmq.pc.")

if(NOT TARGET tavrik::libzmq)
  set(tavrik_zeromq libzmq)
  if(NOT TARGET libzmq)
    # 4.1 brought the type-of-service option.
    find_package(ZeroMQ 4.1 CONFIG QUIET)
    if(NOT TARGET libzmq AND TARGET libzmq-static)
      set(tavrik_zeromq libzmq-static)
    elseif(NOT TARGET libzmq)
      set(tavrik_zeromq PkgConfig::TAVRIK_ZEROMQ)
      find_package(PkgConfig QUIET)
      pkg_check_modules(TAVRIK_ZEROMQ QUIET IMPORTED_TARGET libzmq>=4.1)
    endif()
  endif()
  if(TARGET ${tavrik_zeromq})
    add_library(tavrik::libzmq INTERFACE IMPORTED)
    target_link_libraries(tavrik::libzmq INTERFACE ${tavrik_zeromq})
  endif()
endif()
