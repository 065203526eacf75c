# What is built. A project that embeds this one gets the library alone unless it asks for more.
string(COMPARE EQUAL "${CMAKE_SOURCE_DIR}" "${PROJECT_SOURCE_DIR}" TAVRIK_IS_TOP_LEVEL)

option(TAVRIK_BUILD_EXAMPLES "Build the example programs" ${TAVRIK_IS_TOP_LEVEL})
option(TAVRIK_BUILD_TESTS "Build the tests" OFF)
option(TAVRIK_INSTALL "Install the library" ${TAVRIK_IS_TOP_LEVEL})
option(TAVRIK_WERROR "Treat warnings as errors" OFF)

if(TAVRIK_IS_TOP_LEVEL)
  option(BUILD_SHARED_LIBS "Build a shared library, not a static one" ON)
endif()
set(TAVRIK_LIBRARY_TYPE SHARED)
if(DEFINED BUILD_SHARED_LIBS AND NOT BUILD_SHARED_LIBS)
  set(TAVRIK_LIBRARY_TYPE STATIC)
endif()
if(TAVRIK_BUILD_TESTS AND TAVRIK_LIBRARY_TYPE STREQUAL "STATIC")
  message(FATAL_ERROR " The tests replace functions of the shared library:"
    " TAVRIK_BUILD_TESTS needs BUILD_SHARED_LIBS=ON.")
endif()

# tavrik_optional_part(OPTION TEXT): an option that is ON, OFF or AUTO. AUTO builds the part if what it
# needs is found.
function(tavrik_optional_part option text)
  if(DEFINED ${option} AND NOT DEFINED CACHE{${option}})
    return()  # a variable of the embedding project
  endif()
  set(default OFF)
  if(TAVRIK_IS_TOP_LEVEL)
    set(default AUTO)
  endif()
  set(${option} ${default} CACHE STRING "${text}: ON, OFF, or AUTO where what it needs is found")
  set_property(CACHE ${option} PROPERTY STRINGS AUTO ON OFF)
endfunction()

# tavrik_leave_out(OPTION PART REASON): turns an AUTO option off with one line. Fails if the option is ON.
function(tavrik_leave_out option part reason)
  if(NOT ${option} STREQUAL "AUTO")
    message(FATAL_ERROR " ${part} cannot be built: ${reason}  -D${option}=OFF leaves it out.")
  endif()
  message(STATUS "${part} is left out: ${reason}")
  set(${option} OFF PARENT_SCOPE)
endfunction()

tavrik_optional_part(TAVRIK_BUILD_DEMO "Build the programs that scripts/demo shows")
tavrik_optional_part(TAVRIK_BUILD_PYTHON "Build the Python module")

if(TAVRIK_BUILD_DEMO)
  find_package(PkgConfig QUIET)
  pkg_check_modules(SODIUM QUIET IMPORTED_TARGET libsodium)
  if(NOT TARGET PkgConfig::SODIUM)
    tavrik_leave_out(TAVRIK_BUILD_DEMO "The demo" "libsodium is not found (Debian: libsodium-dev).")
  endif()
endif()

if(TAVRIK_BUILD_PYTHON)
  include(${PROJECT_SOURCE_DIR}/cmake/Pythons.cmake)
endif()
