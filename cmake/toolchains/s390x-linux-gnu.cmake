# IBM Z, 64-bit and big-endian; s390x in Debian.
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(triplet s390x-linux-gnu)
set(emulated s390x)
include(${CMAKE_CURRENT_LIST_DIR}/linux-gnu.cmake)
