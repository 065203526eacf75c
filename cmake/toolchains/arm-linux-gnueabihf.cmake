# 32-bit ARM with hardware floating point; armhf in Debian.
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(triplet arm-linux-gnueabihf)
set(emulated arm)
include(${CMAKE_CURRENT_LIST_DIR}/linux-gnu.cmake)
