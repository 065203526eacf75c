# The interpreters that the Python module is built for: TAVRIK_PYTHON_VERSIONS, such as "2.7;3.11", and
# for each TAVRIK_PYTHON_<version>_COMMAND, _HEADERS and _SUFFIX.
set(TAVRIK_PYTHONS "all" CACHE STRING
  "Python interpreters to build the module for: all, outermost (2.7 and the newest 3), or commands")
option(TAVRIK_REQUIRE_PYTHON2 "Fail where no Python 2.7 is found, instead of leaving it out" OFF)

set(commands "")
if(NOT TAVRIK_PYTHONS MATCHES "^(all|outermost)$")
  set(commands ${TAVRIK_PYTHONS})
endif()
execute_process(COMMAND ${PROJECT_SOURCE_DIR}/cmake/find-pythons ${commands}
  OUTPUT_VARIABLE found OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_VARIABLE left_out
  COMMAND_ERROR_IS_FATAL ANY)
message(STATUS "Python interpreters left out:\n${left_out}")

set(TAVRIK_PYTHON_VERSIONS "")
string(REPLACE "\n" ";" found "${found}")
foreach(line IN LISTS found)
  string(REPLACE "|" ";" fields "${line}")
  list(POP_FRONT fields version)
  list(APPEND TAVRIK_PYTHON_VERSIONS ${version})
  list(POP_FRONT fields TAVRIK_PYTHON_${version}_COMMAND TAVRIK_PYTHON_${version}_HEADERS
    TAVRIK_PYTHON_${version}_SUFFIX)
endforeach()

list(LENGTH commands asked)
list(LENGTH TAVRIK_PYTHON_VERSIONS got)
if(got LESS asked)
  message(FATAL_ERROR "Not each of TAVRIK_PYTHONS is a Python of its own version that the module can"
    " be built for: ${TAVRIK_PYTHONS}\n${left_out}")
endif()

if(TAVRIK_PYTHONS STREQUAL "outermost" AND got GREATER 1)
  list(GET TAVRIK_PYTHON_VERSIONS 0 first)
  list(GET TAVRIK_PYTHON_VERSIONS -1 last)
  set(TAVRIK_PYTHON_VERSIONS ${last})
  if(first STREQUAL "2.7")
    list(PREPEND TAVRIK_PYTHON_VERSIONS ${first})
  endif()
endif()

set(TAVRIK_NO_PYTHON2 "The Python module is not built for Python 2.7: none with headers is on the PATH\
 or in pyenv. To get one: pyenv install 2.7.18, then configure anew.")
if(NOT "2.7" IN_LIST TAVRIK_PYTHON_VERSIONS)
  if(TAVRIK_REQUIRE_PYTHON2)
    message(FATAL_ERROR ${TAVRIK_NO_PYTHON2})
  elseif(NOT asked)
    message(WARNING ${TAVRIK_NO_PYTHON2})
  endif()
endif()
if(NOT TAVRIK_PYTHON_VERSIONS)
  message(FATAL_ERROR "No Python is there to build the module for; in Debian, install python3-dev."
    " -DTAVRIK_BUILD_PYTHON=OFF leaves the module out.\n${left_out}")
endif()

# What an interpreter needs around it to run the module from the build tree.
set(TAVRIK_PYTHON_ENVIRONMENT PYTHONDONTWRITEBYTECODE=1)
set(TAVRIK_PYTHON_PRELOADED "")
if(TAVRIK_SANITIZE MATCHES "address")
  # The interpreter is not instrumented, so the sanitizers have to be there before the module; and the
  # C++ library with them, because they look for its functions when they start.
  foreach(library IN ITEMS libasan.so libubsan.so libstdc++.so.6)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${library}
      OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    list(APPEND TAVRIK_PYTHON_PRELOADED ${path})
  endforeach()
  # What the interpreter keeps until it ends is not a leak of the module's. A test's own allocator
  # comes before the sanitizer's, whose malloc it calls.
  list(APPEND TAVRIK_PYTHON_ENVIRONMENT ASAN_OPTIONS=detect_leaks=0:verify_asan_link_order=0
    PYTHONMALLOC=malloc)
endif()
