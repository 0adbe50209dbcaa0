# The libraries the tree builds on, from their pkg-config files: one list for the project and for
# the fuzz targets' own project.
find_package(PkgConfig REQUIRED)
# GIO only for the bare client of the tests and the benchmarks: the service, the client and the
# platform layers need none.
if(TREVALO_TESTS OR TREVALO_BENCH)
  pkg_check_modules(GIO REQUIRED IMPORTED_TARGET gio-2.0 gio-unix-2.0 glib-2.0)
endif()
pkg_check_modules(GLIB REQUIRED IMPORTED_TARGET glib-2.0)
pkg_check_modules(SYSTEMD REQUIRED IMPORTED_TARGET libsystemd)
pkg_check_modules(JSONCPP REQUIRED IMPORTED_TARGET jsoncpp)
pkg_check_modules(ECORE REQUIRED IMPORTED_TARGET ecore)
