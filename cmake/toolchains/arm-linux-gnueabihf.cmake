# 32-bit ARM with hardware floating point (Debian armhf): most receivers' userland.
set(CMAKE_SYSTEM_PROCESSOR arm)
set(TREVALO_TARGET_TRIPLET arm-linux-gnueabihf)
set(TREVALO_QEMU_NAME qemu-arm)
include(${CMAKE_CURRENT_LIST_DIR}/debian_cross.cmake)
# GCC notes at every std::vector of some types that their passing changed in GCC 7.1: nothing here
# links against code built before that.
set(CMAKE_CXX_FLAGS_INIT "-Wno-psabi")
