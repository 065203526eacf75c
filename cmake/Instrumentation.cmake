# Builds that watch themselves: sanitizers and coverage. They cover everything that is compiled.
set(TAVRIK_SANITIZE "" CACHE STRING "Sanitizers to build with, as for -fsanitize")
option(TAVRIK_COVERAGE "Record line and branch coverage" OFF)

if(TAVRIK_SANITIZE)
  add_compile_options(-fsanitize=${TAVRIK_SANITIZE} -fno-sanitize-recover=all
    -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${TAVRIK_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    # Clang does not link what these checks call into programs in C.
    add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-fno-sanitize=vptr,function>)
  endif()
endif()

if(TAVRIK_COVERAGE)
  add_compile_options(--coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()
