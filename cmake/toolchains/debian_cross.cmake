# Shared part of the toolchain files for a receiver's processor: Debian's cross compiler for
# TREVALO_TARGET_TRIPLET (crossbuild-essential-<arch>) and a root of the target architecture as
# sysroot, which holds the development packages the tree links against. scripts/cross.sh makes
# that root; any other Debian root of the same release does as well:
#   cmake -S . -B build-armhf -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/arm-linux-gnueabihf.cmake \
#         -DTREVALO_SYSROOT=/var/cache/trevalo-cross/armhf
# Nothing built runs during the build (the manual pages are checked in); the tests run under
# qemu-user, which looks up the target's loader and libraries in the
# root (QEMU_LD_PREFIX, inherited by the programs they start in turn through binfmt_misc).

set(CMAKE_SYSTEM_NAME Linux)

if(NOT TREVALO_SYSROOT AND DEFINED ENV{TREVALO_SYSROOT})
  set(TREVALO_SYSROOT "$ENV{TREVALO_SYSROOT}")
endif()
if(NOT TREVALO_SYSROOT OR NOT IS_DIRECTORY "${TREVALO_SYSROOT}/usr/lib/${TREVALO_TARGET_TRIPLET}")
  message(FATAL_ERROR "TREVALO_SYSROOT must name a Debian root of the target "
                      "(${TREVALO_TARGET_TRIPLET}); scripts/cross.sh makes one")
endif()
set(TREVALO_SYSROOT "${TREVALO_SYSROOT}" CACHE PATH "The target's root, used as sysroot")
# try_compile projects read this file again and need the root too.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TREVALO_SYSROOT)

set(CMAKE_SYSROOT "${TREVALO_SYSROOT}")
set(CMAKE_C_COMPILER ${TREVALO_TARGET_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${TREVALO_TARGET_TRIPLET}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${TREVALO_TARGET_TRIPLET})

# Programs from the build machine; libraries, headers and CMake packages from the root only.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# pkg-config reads the root's .pc files and puts the root before the paths it gives.
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${CMAKE_SYSROOT}")
set(ENV{PKG_CONFIG_LIBDIR}
    "${CMAKE_SYSROOT}/usr/lib/${TREVALO_TARGET_TRIPLET}/pkgconfig:${CMAKE_SYSROOT}/usr/lib/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig")

find_program(TREVALO_QEMU ${TREVALO_QEMU_NAME}-static)
if(TREVALO_QEMU)
  set(CMAKE_CROSSCOMPILING_EMULATOR /usr/bin/env "QEMU_LD_PREFIX=${CMAKE_SYSROOT}" ${TREVALO_QEMU})
endif()
