# The warnings that the project's own code is clean of.
add_library(tavrik_warnings INTERFACE)
target_compile_options(tavrik_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
if(TAVRIK_WERROR)
  target_compile_options(tavrik_warnings INTERFACE -Werror)
endif()
