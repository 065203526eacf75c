# 64-bit ARM; arm64 in Debian.
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(triplet aarch64-linux-gnu)
set(emulated aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/linux-gnu.cmake)
