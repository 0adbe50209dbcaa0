# Where the buses, systemd and bash-completion read the files this project installs, from their
# pkg-config files (dbus-1, systemd, bash-completion), with the conventional directory when a
# module is missing. For each kind of file it sets, for install_activation_files.cmake:
#   TREVALO_<KIND>_RELATIVE  the directory, relative to the prefix it is installed under
#   TREVALO_<KIND>_READERS   the directories the reader actually reads (absolute), to tell at
#                            install time whether the installed file will be found
# and a cache variable TREVALO_<KIND>_DIR to choose another directory (absolute, or relative to
# the install prefix).

function(trevalo_pkg_variable out module variable)
  execute_process(COMMAND ${PKG_CONFIG_EXECUTABLE} --variable=${variable} ${module}
                  OUTPUT_VARIABLE value OUTPUT_STRIP_TRAILING_WHITESPACE
                  RESULT_VARIABLE failed ERROR_QUIET)
  if(failed)
    set(value "")
  endif()
  set(${out} "${value}" PARENT_SCOPE)
endfunction()

# The module's directory `absolute`, relative to the module's own prefix (/usr/share/x with
# prefix /usr gives share/x; /lib/systemd/system, outside it, gives lib/systemd/system).
function(trevalo_relative_to_module out module absolute)
  trevalo_pkg_variable(module_prefix ${module} prefix)
  if(module_prefix AND absolute MATCHES "^${module_prefix}/(.*)$")
    set(${out} "${CMAKE_MATCH_1}" PARENT_SCOPE)
  else()
    string(REGEX REPLACE "^/+" "" relative "${absolute}")
    set(${out} "${relative}" PARENT_SCOPE)
  endif()
endfunction()

# `variable` names the directory in `module`'s pkg-config file ("policy": dbus-1's datadir
# /dbus-1/system.d); `fallback` is used without the module; `also_read` lists what the reader
# reads besides (dbus-daemon's standard service directories, the XDG_DATA_DIRS defaults).
function(trevalo_directory kind module variable fallback also_read description)
  set(TREVALO_${kind}_DIR "" CACHE STRING
      "Where ${description} go (absolute, or relative to the install prefix); empty: from pkg-config")
  if(variable STREQUAL "policy")
    trevalo_pkg_variable(data_dir dbus-1 datadir)
    trevalo_pkg_variable(sysconf_dir dbus-1 sysconfdir)
    set(absolute "")
    set(readers "")
    if(data_dir)
      set(absolute "${data_dir}/dbus-1/system.d")
      list(APPEND readers "${absolute}")
    endif()
    if(sysconf_dir)
      list(APPEND readers "${sysconf_dir}/dbus-1/system.d")
    endif()
  else()
    trevalo_pkg_variable(absolute ${module} ${variable})
    set(readers "${absolute}")
    # systemd lists the whole search path it reads units from.
    string(REPLACE "unitdir" "unitpath" path_variable "${variable}")
    if(NOT path_variable STREQUAL variable)
      trevalo_pkg_variable(search_path ${module} ${path_variable})
      string(REPLACE ":" ";" search_path "${search_path}")
      list(APPEND readers ${search_path})
    endif()
  endif()
  if(absolute)
    trevalo_relative_to_module(relative ${module} "${absolute}")
  else()
    message(STATUS "pkg-config knows no ${module}: ${description} go to <prefix>/${fallback}")
    set(relative "${fallback}")
  endif()
  list(APPEND readers ${also_read})
  list(REMOVE_DUPLICATES readers)
  set(TREVALO_${kind}_RELATIVE "${relative}" PARENT_SCOPE)
  set(TREVALO_${kind}_READERS "${readers}" PARENT_SCOPE)
endfunction()

trevalo_directory(SESSION_SERVICES dbus-1 session_bus_services_dir share/dbus-1/services
  "/usr/local/share/dbus-1/services;/usr/share/dbus-1/services"
  "the session-bus activation files")
trevalo_directory(SYSTEM_SERVICES dbus-1 system_bus_services_dir share/dbus-1/system-services
  "/usr/local/share/dbus-1/system-services;/usr/share/dbus-1/system-services;/lib/dbus-1/system-services"
  "the system-bus activation files")
trevalo_directory(POLICY dbus-1 policy share/dbus-1/system.d "" "the system-bus policies")
trevalo_directory(INTERFACES dbus-1 interfaces_dir share/dbus-1/interfaces
  "/usr/local/share/dbus-1/interfaces;/usr/share/dbus-1/interfaces"
  "the D-Bus interface descriptions")
trevalo_directory(SYSTEM_UNITS systemd systemdsystemunitdir lib/systemd/system "" "the systemd system units")
# systemd-sysusers reads /usr/local/lib/sysusers.d too, though pkg-config names only one directory.
trevalo_directory(SYSUSERS systemd sysusersdir lib/sysusers.d
  "/etc/sysusers.d;/run/sysusers.d;/usr/local/lib/sysusers.d;/usr/lib/sysusers.d;/lib/sysusers.d"
  "the sysusers.d entries")
trevalo_directory(USER_UNITS systemd systemduserunitdir lib/systemd/user "" "the systemd user units")
trevalo_directory(COMPLETIONS bash-completion completionsdir share/bash-completion/completions
  "/usr/local/share/bash-completion/completions;/usr/share/bash-completion/completions"
  "the bash completions")
