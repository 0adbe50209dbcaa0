# Where the buses, systemd and bash-completion read the files this project installs, from their
# pkg-config files (dbus-1, systemd, bash-completion). For each kind of file it sets
# TREVALO_<KIND>_RELATIVE, the directory relative to the install prefix (the module's directory
# relative to the module's own prefix: /usr/share/x with prefix /usr gives share/x,
# /lib/systemd/system outside it gives lib/systemd/system), or `fallback` without the module; and
# a cache variable TREVALO_<KIND>_DIR to choose another directory (absolute, or relative to the
# install prefix). A `below` after the description is appended to the module's directory (the
# policies: dbus-1's datadir/dbus-1/system.d).
find_package(PkgConfig REQUIRED)

function(trevalo_directory kind module variable fallback description)
  set(TREVALO_${kind}_DIR "" CACHE STRING
      "Where ${description} go (absolute, or relative to the install prefix); empty: from pkg-config")
  pkg_get_variable(absolute ${module} ${variable})
  pkg_get_variable(module_prefix ${module} prefix)
  if(absolute AND ARGC GREATER 5)
    string(APPEND absolute "/${ARGV5}")
  endif()
  # A cross build's pkg-config puts the target's root before every path: not where files go.
  if(DEFINED ENV{PKG_CONFIG_SYSROOT_DIR} AND NOT "$ENV{PKG_CONFIG_SYSROOT_DIR}" STREQUAL "")
    foreach(path absolute module_prefix)
      string(REPLACE "$ENV{PKG_CONFIG_SYSROOT_DIR}/" "/" ${path} "${${path}}")
    endforeach()
  endif()
  if(NOT absolute)
    message(STATUS "pkg-config knows no ${module}: ${description} go to <prefix>/${fallback}")
    set(relative "${fallback}")
  elseif(module_prefix AND absolute MATCHES "^${module_prefix}/(.*)$")
    set(relative "${CMAKE_MATCH_1}")
  else()
    string(REGEX REPLACE "^/+" "" relative "${absolute}")
  endif()
  if(TREVALO_${kind}_DIR)
    set(relative "${TREVALO_${kind}_DIR}")
  endif()
  set(TREVALO_${kind}_RELATIVE "${relative}" PARENT_SCOPE)
endfunction()

trevalo_directory(SESSION_SERVICES dbus-1 session_bus_services_dir share/dbus-1/services
  "the session-bus activation files")
trevalo_directory(SYSTEM_SERVICES dbus-1 system_bus_services_dir share/dbus-1/system-services
  "the system-bus activation files")
trevalo_directory(POLICY dbus-1 datadir share/dbus-1/system.d "the system-bus policies"
  dbus-1/system.d)
trevalo_directory(INTERFACES dbus-1 interfaces_dir share/dbus-1/interfaces
  "the D-Bus interface descriptions")
trevalo_directory(SYSTEM_UNITS systemd systemdsystemunitdir lib/systemd/system
  "the systemd system units")
trevalo_directory(USER_UNITS systemd systemduserunitdir lib/systemd/user "the systemd user units")
trevalo_directory(SYSUSERS systemd sysusersdir lib/sysusers.d "the sysusers.d entries")
trevalo_directory(COMPLETIONS bash-completion completionsdir share/bash-completion/completions
  "the bash completions")
