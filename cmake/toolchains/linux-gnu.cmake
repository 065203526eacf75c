# What the toolchain files share: a cross compiler as Debian names it, <triplet>-gcc, and the target's
# libraries in a sysroot. The sysroot is CMAKE_SYSROOT, or else the environment's TAVRIK_SYSROOT. It
# is a folder with the target's usr/include and usr/lib. Without one, the compiler's own is searched.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${triplet}-gcc)
set(CMAKE_CXX_COMPILER ${triplet}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${triplet})

if(NOT CMAKE_SYSROOT AND DEFINED ENV{TAVRIK_SYSROOT})
  get_filename_component(CMAKE_SYSROOT "$ENV{TAVRIK_SYSROOT}" ABSOLUTE)
endif()

# Programs come from the build machine; headers, libraries and packages only from the target.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${CMAKE_SYSROOT}")
string(JOIN ":" pkg_config_folders
  ${CMAKE_SYSROOT}/usr/lib/${triplet}/pkgconfig
  ${CMAKE_SYSROOT}/usr/lib/pkgconfig
  ${CMAKE_SYSROOT}/usr/share/pkgconfig)
set(ENV{PKG_CONFIG_LIBDIR} ${pkg_config_folders})

# Runs the tests where user-mode emulation is installed. Without a sysroot, the loader and the C
# library are those that came with the compiler.
find_program(TAVRIK_EMULATOR NAMES qemu-${emulated}-static qemu-${emulated}
  DOC "Runs the target's programs on the build machine")
if(TAVRIK_EMULATOR AND CMAKE_SYSROOT)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${TAVRIK_EMULATOR} -L ${CMAKE_SYSROOT})
elseif(TAVRIK_EMULATOR)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${TAVRIK_EMULATOR} -L /usr/${triplet})
endif()
