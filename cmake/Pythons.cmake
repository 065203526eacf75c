# What the Python module is built with: TAVRIK_CYTHON, and the interpreters TAVRIK_PYTHON_VERSIONS, such
# as "2.7;3.11", each with TAVRIK_PYTHON_<version>_HEADERS and _SUFFIX, and with _COMMAND unless the
# build is for another machine.
set(TAVRIK_PYTHONS "all" CACHE STRING
  "Python interpreters to build the module for: all, outermost (2.7 and the newest 3), or commands")
option(TAVRIK_REQUIRE_PYTHON2 "Fail where no Python 2.7 is found, instead of leaving it out" OFF)

# Sets the outer variable reason if there is no Cython that the module can be translated with.
function(tavrik_find_cython)
  find_program(TAVRIK_CYTHON NAMES cython3 cython DOC "Cython 0.29 or 3")
  if(TAVRIK_CYTHON)
    execute_process(COMMAND ${TAVRIK_CYTHON} --version OUTPUT_VARIABLE printed ERROR_VARIABLE printed)
  endif()
  if(printed MATCHES "version ((0\\.29|3\\.[0-9]+)[.0-9]*)")
    set(TAVRIK_CYTHON_VERSION ${CMAKE_MATCH_1} PARENT_SCOPE)
  else()
    set(reason "Cython 0.29 or 3 is not found (Debian: cython3)." PARENT_SCOPE)
  endif()
endfunction()

# In a cross build the headers of the target's Python are given. They tell its version.
function(tavrik_take_target_python)
  set(TAVRIK_PYTHON_INCLUDE_DIR "" CACHE PATH
    "In a cross build: the folder with the Python.h of the target's Python")
  set(TAVRIK_PYTHON_SUFFIX ".so" CACHE STRING
    "In a cross build: the end of the module's file name, sysconfig's EXT_SUFFIX on the target")
  set(header ${TAVRIK_PYTHON_INCLUDE_DIR}/patchlevel.h)
  set(numbers "")
  if(EXISTS ${header})
    file(STRINGS ${header} numbers REGEX "^#define[ \t]+PY_M(AJOR|INOR)_VERSION[ \t]")
  endif()
  if(numbers MATCHES "MAJOR_VERSION[ \t]+([0-9]+).*MINOR_VERSION[ \t]+([0-9]+)")
    set(version ${CMAKE_MATCH_1}.${CMAKE_MATCH_2})
    set(TAVRIK_PYTHON_VERSIONS ${version} PARENT_SCOPE)
    set(TAVRIK_PYTHON_${version}_HEADERS ${TAVRIK_PYTHON_INCLUDE_DIR} PARENT_SCOPE)
    set(TAVRIK_PYTHON_${version}_SUFFIX ${TAVRIK_PYTHON_SUFFIX} PARENT_SCOPE)
  else()
    set(reason "a cross build needs the folder with the target's Python.h in\
 TAVRIK_PYTHON_INCLUDE_DIR." PARENT_SCOPE)
  endif()
endfunction()

# The interpreters of this machine.
function(tavrik_find_pythons)
  set(commands "")
  if(NOT TAVRIK_PYTHONS MATCHES "^(all|outermost)$")
    set(commands ${TAVRIK_PYTHONS})
  endif()
  set(lowest 2.7)
  if(TAVRIK_CYTHON_VERSION VERSION_GREATER_EQUAL 3.1)
    set(lowest 3.8)
  endif()
  execute_process(COMMAND ${PROJECT_SOURCE_DIR}/cmake/find-pythons ${lowest} ${commands}
    OUTPUT_VARIABLE found OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_VARIABLE left_out)

  set(versions "")
  string(REPLACE "\n" ";" found "${found}")
  foreach(line IN LISTS found)
    string(REPLACE "|" ";" fields "${line}")
    list(POP_FRONT fields version command headers suffix)
    list(APPEND versions ${version})
    set(TAVRIK_PYTHON_${version}_COMMAND ${command} PARENT_SCOPE)
    set(TAVRIK_PYTHON_${version}_HEADERS ${headers} PARENT_SCOPE)
    set(TAVRIK_PYTHON_${version}_SUFFIX ${suffix} PARENT_SCOPE)
  endforeach()
  list(LENGTH commands asked)
  list(LENGTH versions got)
  if(got LESS asked)
    message(FATAL_ERROR "Not each of TAVRIK_PYTHONS is a Python of its own version that the module can"
      " be built for: ${TAVRIK_PYTHONS}\n${left_out}")
  endif()
  if(NOT versions)
    set(reason "no Python with headers is found (Debian: python3-dev)." PARENT_SCOPE)
    return()
  endif()
  if(left_out)
    message(STATUS "Python interpreters left out:\n${left_out}")
  endif()

  if(TAVRIK_PYTHONS STREQUAL "outermost")
    list(FILTER versions INCLUDE REGEX "^2\\.7$|^${version}$")
  endif()
  set(TAVRIK_PYTHON_VERSIONS ${versions} PARENT_SCOPE)

  set(TAVRIK_NO_PYTHON2 "The Python module is not built for Python 2.7: none with headers is on the\
 PATH or in pyenv, or Cython is newer than 3.0. To get one: pyenv install 2.7.18, then configure anew.")
  set(TAVRIK_NO_PYTHON2 ${TAVRIK_NO_PYTHON2} PARENT_SCOPE)
  if(NOT "2.7" IN_LIST versions)
    if(TAVRIK_REQUIRE_PYTHON2)
      message(FATAL_ERROR " ${TAVRIK_NO_PYTHON2}")
    elseif(TAVRIK_BUILD_PYTHON STREQUAL "AUTO")
      message(STATUS "${TAVRIK_NO_PYTHON2}")
    elseif(NOT asked)
      message(WARNING " ${TAVRIK_NO_PYTHON2}")
    endif()
  endif()
endfunction()

set(reason "")
tavrik_find_cython()
if(NOT reason)
  if(CMAKE_CROSSCOMPILING)
    tavrik_take_target_python()
  else()
    tavrik_find_pythons()
  endif()
endif()
if(reason)
  tavrik_leave_out(TAVRIK_BUILD_PYTHON "The Python module" "${reason}")
  return()
endif()

# What an interpreter needs around it to run the module from the build tree.
set(TAVRIK_PYTHON_ENVIRONMENT PYTHONDONTWRITEBYTECODE=1)
set(TAVRIK_PYTHON_PRELOADED "")
if(TAVRIK_SANITIZE MATCHES "address")
  # The interpreter is not instrumented, so the sanitizers have to be there before the module; and the
  # C++ library with them, because they look for its functions when they start.
  set(runtimes libasan.so libubsan.so)
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    set(runtimes libclang_rt.asan-${CMAKE_SYSTEM_PROCESSOR}.so)
  endif()
  foreach(library IN ITEMS ${runtimes} libstdc++.so.6)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${library}
      OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    list(APPEND TAVRIK_PYTHON_PRELOADED ${path})
  endforeach()
  # What the interpreter keeps until it ends is not a leak of the module's. A test's own allocator
  # comes before the sanitizer's, whose malloc it calls.
  list(APPEND TAVRIK_PYTHON_ENVIRONMENT ASAN_OPTIONS=detect_leaks=0:verify_asan_link_order=0
    PYTHONMALLOC=malloc)
endif()
