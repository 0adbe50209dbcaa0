# Run by `cmake --install`: fills the activation templates in with the prefix being installed to
# and installs them, with the bash completion, each into its directory (system_directories.cmake)
# placed under that prefix. When the bus, systemd or bash-completion of this machine does not
# read that directory, says where to link the file. CMAKE_INSTALL_PREFIX is that prefix here;
# DESTDIR, when set, is added by file(INSTALL) and never appears inside the files.
set(TREVALO_BUS_NAME "org.ondrel.TCServer.trevalo_service")
set(TREVALO_UNIT "trevalo_service.service")
set(TREVALO_UNIT_ALIAS "dbus-${TREVALO_BUS_NAME}.service")
set(TREVALO_CATALOGUE_INTERFACE "org.ondrel.Trevalo.Catalogue1")
# The system user the service runs as on the system bus, and the group of the clients trusted to
# send it requests there (sysusers.d creates both).
set(TREVALO_USER "trevalo_service")
set(TREVALO_CLIENT_GROUP "trevalo")

function(trevalo_below_prefix out directory)
  if(IS_ABSOLUTE "${directory}")
    set(${out} "${directory}" PARENT_SCOPE)
  else()
    set(${out} "${CMAKE_INSTALL_PREFIX}/${directory}" PARENT_SCOPE)
  endif()
endfunction()

function(trevalo_directory_of out kind)
  if(TREVALO_${kind}_DIR)
    trevalo_below_prefix(directory "${TREVALO_${kind}_DIR}")
  else()
    trevalo_below_prefix(directory "${TREVALO_${kind}_RELATIVE}")
  endif()
  set(${out} "${directory}" PARENT_SCOPE)
endfunction()

# Whether the reader of `kind` reads `directory` (symbolic links resolved, as /lib and /usr/lib).
function(trevalo_is_read out kind directory)
  get_filename_component(wanted "${directory}" REALPATH)
  foreach(reader IN LISTS TREVALO_${kind}_READERS)
    get_filename_component(read "${reader}" REALPATH)
    if(read STREQUAL wanted)
      set(${out} TRUE PARENT_SCOPE)
      return()
    endif()
  endforeach()
  set(${out} FALSE PARENT_SCOPE)
endfunction()

trevalo_below_prefix(libexec_dir "${TREVALO_LIBEXECDIR}")
set(TREVALO_SERVICE_BINARY "${libexec_dir}/trevalo_service")

# Two installs to different prefixes may run at once: each fills its own copies.
string(MD5 prefix_key "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}")
set(generated "${TREVALO_GENERATED_DIR}/${prefix_key}")

# template | kind | installed name | what goes wrong when the file is not read
set(installed_files
  "session-bus.service.in|SESSION_SERVICES|${TREVALO_BUS_NAME}.service|a session bus cannot start the service"
  "system-bus.service.in|SYSTEM_SERVICES|${TREVALO_BUS_NAME}.service|the system bus cannot start the service"
  "system-bus-policy.conf.in|POLICY|${TREVALO_BUS_NAME}.conf|the system bus refuses the service its name (it exits 255)"
  "${TREVALO_CATALOGUE_INTERFACE}.xml|INTERFACES|${TREVALO_CATALOGUE_INTERFACE}.xml|D-Bus tools that read interface descriptions do not find the catalogue's"
  "systemd-system.service.in|SYSTEM_UNITS|${TREVALO_UNIT}|systemd knows no system unit ${TREVALO_UNIT}"
  "systemd-user.service.in|USER_UNITS|${TREVALO_UNIT}|systemd knows no user unit ${TREVALO_UNIT}"
  "trevalo-cli.bash-completion|COMPLETIONS|trevalo-cli|bash does not complete trevalo-cli"
  "sysusers.conf.in|SYSUSERS|trevalo_service.conf|the service's user is not made: its system unit cannot start")

set(notes "")
foreach(entry IN LISTS installed_files)
  string(REPLACE "|" ";" parts "${entry}")
  list(GET parts 0 template)
  list(GET parts 1 kind)
  list(GET parts 2 name)
  list(GET parts 3 consequence)
  trevalo_directory_of(directory ${kind})
  string(MD5 directory_key "${directory}")
  set(filled "${generated}/${directory_key}/${name}")
  configure_file("${TREVALO_TEMPLATE_DIR}/${template}" "${filled}" @ONLY)
  file(INSTALL DESTINATION "${directory}" TYPE FILE FILES "${filled}")

  trevalo_is_read(read ${kind} "${directory}")
  if(NOT read AND TREVALO_${kind}_READERS)
    # Under /etc when the reader reads there (the policy, the units): the administrator's
    # place, where no package overwrites a link; else the reader's own directory.
    list(GET TREVALO_${kind}_READERS 0 link_directory)
    foreach(reader IN LISTS TREVALO_${kind}_READERS)
      if(reader MATCHES "^/etc/")
        set(link_directory "${reader}")
        break()
      endif()
    endforeach()
    list(JOIN TREVALO_${kind}_READERS ", " read_list)
    string(APPEND notes "\n  ${directory}/${name}\n"
      "    is not read from there, so ${consequence}; read are: ${read_list}.\n"
      "    To use it: ln -s '${directory}/${name}' '${link_directory}/'\n")
  endif()
endforeach()
if(notes)
  message(NOTICE "\ntrevalo_service: installed under ${CMAKE_INSTALL_PREFIX}, outside where this machine looks:${notes}")
endif()
