# Run by `cmake --install`: fills the activation templates in with the prefix being installed to
# and installs them. CMAKE_INSTALL_PREFIX is that prefix here; DESTDIR, when set, is added by
# file(INSTALL) and never appears inside the files.
set(TREVALO_BUS_NAME "org.ondrel.TCServer.trevalo_service")
set(TREVALO_UNIT "trevalo_service.service")
# The system user the service runs as on the system bus (sysusers.d creates it).
set(TREVALO_USER "trevalo_service")

function(trevalo_below_prefix out directory)
  if(IS_ABSOLUTE "${directory}")
    set(${out} "${directory}" PARENT_SCOPE)
  else()
    set(${out} "${CMAKE_INSTALL_PREFIX}/${directory}" PARENT_SCOPE)
  endif()
endfunction()

trevalo_below_prefix(libexec_dir "${TREVALO_LIBEXECDIR}")
trevalo_below_prefix(data_dir "${TREVALO_DATADIR}")
trevalo_below_prefix(systemd_dir "${TREVALO_SYSTEMD_DIR}")
trevalo_below_prefix(sysusers_dir "${TREVALO_SYSUSERS_DIR}")
set(TREVALO_SERVICE_BINARY "${libexec_dir}/trevalo_service")

# Two installs to different prefixes may run at once: each fills its own copies.
string(MD5 prefix_key "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}")
set(generated "${TREVALO_GENERATED_DIR}/${prefix_key}")

# template | directory | installed name
set(activation_files
  "session-bus.service.in|${data_dir}/dbus-1/services|${TREVALO_BUS_NAME}.service"
  "system-bus.service.in|${data_dir}/dbus-1/system-services|${TREVALO_BUS_NAME}.service"
  "system-bus-policy.conf.in|${data_dir}/dbus-1/system.d|${TREVALO_BUS_NAME}.conf"
  "systemd-system.service.in|${systemd_dir}/system|${TREVALO_UNIT}"
  "systemd-user.service.in|${systemd_dir}/user|${TREVALO_UNIT}"
  "sysusers.conf.in|${sysusers_dir}|trevalo_service.conf")

foreach(entry IN LISTS activation_files)
  string(REPLACE "|" ";" parts "${entry}")
  list(GET parts 0 template)
  list(GET parts 1 directory)
  list(GET parts 2 name)
  string(MD5 directory_key "${directory}")
  set(filled "${generated}/${directory_key}/${name}")
  configure_file("${TREVALO_TEMPLATE_DIR}/${template}" "${filled}" @ONLY)
  file(INSTALL DESTINATION "${directory}" TYPE FILE FILES "${filled}")
endforeach()
