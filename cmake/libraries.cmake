# The libraries the tree builds on, from their pkg-config files: one list for the project and for
# the fuzz targets' own project.
find_package(PkgConfig REQUIRED)
pkg_check_modules(GLIB REQUIRED IMPORTED_TARGET glib-2.0)
pkg_check_modules(SYSTEMD REQUIRED IMPORTED_TARGET libsystemd)
pkg_check_modules(JSONCPP REQUIRED IMPORTED_TARGET jsoncpp)
pkg_check_modules(ECORE REQUIRED IMPORTED_TARGET ecore)
# GIO only for the bare client of the tests and the benchmarks: the service, the client and the
# platform layers need none.
if(TREVALO_TESTS OR TREVALO_BENCH)
  pkg_check_modules(GIO REQUIRED IMPORTED_TARGET gio-2.0 gio-unix-2.0)
endif()
# What the tests need besides, looked for quietly: without it the tests are left out (the
# top-level CMakeLists.txt says so), the service and the client still build.
if(TREVALO_TESTS)
  find_package(GTest QUIET)
  pkg_check_modules(DVBPSI QUIET IMPORTED_TARGET libdvbpsi)
endif()
