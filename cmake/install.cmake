# What `cmake --install` puts where, in components of which a board wants the first alone:
#
#   daemon      the daemon, its systemd unit and vorlentctl
#   linux       the services of an ordinary Linux box, wl and vexo_service
#   nvram       the stand-in's command; not there with a maker's platform
#   documents   documents
#   dissector   for Wireshark
#   laboratory  meshlab with its helpers and scenarios, and vorlent-why
#
# A manual page is in the component of its program. Any prefix will do, also one that is named at the
# installation only, and any CMAKE_INSTALL_*DIR, absolute ones included: what names a folder in a file
# or a link is therefore written when it is installed.
include(GNUInstallDirs)
set(VORLENT_UNIT_DIR lib/systemd/system CACHE STRING
    "Where the systemd unit goes. Empty: it is not installed")
set(lab_dir ${CMAKE_INSTALL_LIBEXECDIR}/vorlent)
set(share_dir ${CMAKE_INSTALL_DATADIR}/vorlent)

# Wireshark looks below its own prefix, of which ours is most often a copy.
if(NOT DEFINED VORLENT_WIRESHARK_DIR)
  set(folder lib/${CMAKE_LIBRARY_ARCHITECTURE}/wireshark/plugins)
  find_program(TSHARK tshark)
  if(TSHARK AND NOT CMAKE_CROSSCOMPILING)
    execute_process(COMMAND ${TSHARK} -G folders OUTPUT_VARIABLE folders ERROR_QUIET)
    if(folders MATCHES "Global Lua Plugins:[ \t]*/usr/([^\n]+)")
      set(folder ${CMAKE_MATCH_1})
    endif()
  endif()
  set(VORLENT_WIRESHARK_DIR ${folder} CACHE STRING "Where Wireshark looks for plugins in Lua")
endif()

# Code that runs at the installation of the component, with what place.cmake defines.
function(install_code component code)
  install(CODE "include(${CMAKE_SOURCE_DIR}/cmake/place.cmake)\n${code}" COMPONENT ${component})
endfunction()
# A link in `folder` to the file `target`, both below the prefix or absolute.
function(install_link component target folder name)
  install_code(${component} "place_link(\"${target}\" \"${folder}\" ${name})")
endfunction()
# A file in which `word` becomes the installed place of `file`.
function(install_with component source folder name word file)
  install_code(${component} "place_with(\"${CMAKE_SOURCE_DIR}/${source}\"
    \"${CMAKE_BINARY_DIR}/placed/${name}\" \"${folder}\" \"${word}\" \"${file}\")")
endfunction()
function(install_pages component)
  foreach(page ${ARGN})
    string(REGEX MATCH "[18]$" section ${page})
    install(FILES ${CMAKE_BINARY_DIR}/man/${page}.gz COMPONENT ${component} OPTIONAL
            DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section})
  endforeach()
endfunction()

install(TARGETS vorlent RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT daemon)
install_pages(daemon vorlent.8)
if(TARGET vorlentctl)
  install(TARGETS vorlentctl RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT daemon)
  install(FILES packaging/bash-completion/vorlentctl
          DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT daemon)
  install_pages(daemon vorlentctl.8)
endif()
if(VORLENT_UNIT_DIR)
  install_with(daemon packaging/systemd/vorlent.service ${VORLENT_UNIT_DIR} vorlent.service
               /usr/sbin/vorlent ${CMAKE_INSTALL_SBINDIR}/vorlent)
endif()
if(TARGET nvram)
  install(TARGETS nvram RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT nvram)
  install_pages(nvram nvram.1)
endif()

if(TARGET vorlent-radio)
  install(TARGETS wl vorlent-radio vorlent-network
          RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT linux)
  install(PROGRAMS platform/linux/network/vexo_service
          DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT linux)
  install_pages(linux vorlent-radio.8 vorlent-network.8 wl.8 vexo_service.8)
  foreach(service vorlent-radio vorlent-network)
    if(VORLENT_UNIT_DIR)
      install_with(linux packaging/systemd/${service}.service ${VORLENT_UNIT_DIR} ${service}.service
                   /usr/sbin/${service} ${CMAKE_INSTALL_SBINDIR}/${service})
    endif()
  endforeach()
endif()

install(FILES README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documents)
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT documents
        FILES_MATCHING PATTERN "*.md" PATTERN man EXCLUDE)

install(DIRECTORY packaging/wireshark DESTINATION ${share_dir} COMPONENT dissector)
install_link(dissector ${share_dir}/wireshark ${VORLENT_WIRESHARK_DIR} vorlent)

# meshlab looks for its companions beside itself.
if(TARGET meshlab)
  install(TARGETS meshlab lab-agent lab_timelapse lab_ready_keys
          RUNTIME DESTINATION ${lab_dir} COMPONENT laboratory
          LIBRARY DESTINATION ${lab_dir} COMPONENT laboratory)
  install(DIRECTORY lab/scenarios lab/sweep DESTINATION ${lab_dir} COMPONENT laboratory)
  install_link(laboratory ${lab_dir}/meshlab ${CMAKE_INSTALL_BINDIR} meshlab)
  install_link(laboratory ${CMAKE_INSTALL_SBINDIR}/vorlent ${lab_dir} vorlent)
  install_link(laboratory ${CMAKE_INSTALL_BINDIR}/nvram ${lab_dir} nvram)
  install_pages(laboratory meshlab.1)
endif()
# Beside the dissector, by which it reads captures.
if(TARGET vorlent-why)
  install(PROGRAMS ${CMAKE_BINARY_DIR}/vorlent-why DESTINATION ${share_dir} COMPONENT laboratory)
  install_link(laboratory ${share_dir}/vorlent-why ${CMAKE_INSTALL_BINDIR} vorlent-why)
  install_pages(laboratory vorlent-why.1)
endif()
