# 64-bit ARM (Debian arm64): newer receivers.
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(TREVALO_TARGET_TRIPLET aarch64-linux-gnu)
set(TREVALO_QEMU_NAME qemu-aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/debian_cross.cmake)
