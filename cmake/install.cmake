# What `cmake --install` puts where, and the Debian packages that CPack makes of it, one for each
# component: a board gets the daemon alone, a developer's machine all of them.
#
#   daemon      the daemon, its systemd unit and vorlentctl
#   nvram       the stand-in's command; not there with a maker's platform
#   documents   manual pages and documents
#   dissector   for Wireshark
#   laboratory  meshlab with its helpers and scenarios, and vorlent-why
include(GNUInstallDirs)
set(VORLENT_UNIT_DIR lib/systemd/system CACHE STRING
    "Where the systemd unit goes, below the prefix. Empty: it is not installed")
set(lab_dir ${CMAKE_INSTALL_LIBEXECDIR}/vorlent)

install(TARGETS vorlent RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT daemon)
if(TARGET vorlentctl)
  install(TARGETS vorlentctl RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT daemon)
  install(FILES packaging/bash-completion/vorlentctl
          DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT daemon)
endif()
if(VORLENT_UNIT_DIR)
  install(FILES packaging/systemd/vorlent.service DESTINATION ${VORLENT_UNIT_DIR} COMPONENT daemon)
endif()
if(TARGET nvram)
  install(TARGETS nvram RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT nvram)
endif()

install(FILES README.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documents)
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT documents
        FILES_MATCHING PATTERN "*.md" PATTERN man EXCLUDE)
foreach(section 1 8)
  install(DIRECTORY ${CMAKE_BINARY_DIR}/man/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section}
          COMPONENT documents OPTIONAL FILES_MATCHING PATTERN "*.${section}")
endforeach()

# Wireshark looks in the library folder of its own architecture, whatever our prefix.
install(FILES packaging/wireshark/vorlent.lua
        DESTINATION lib/${CMAKE_LIBRARY_ARCHITECTURE}/wireshark/plugins COMPONENT dissector)

# meshlab looks for its companions beside itself.
function(install_link target folder name)
  install(CODE "file(MAKE_DIRECTORY \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${folder}\")
    file(CREATE_LINK \"${target}\" \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${folder}/${name}\" SYMBOLIC)"
    COMPONENT laboratory)
endfunction()
if(TARGET meshlab)
  install(TARGETS meshlab lab-agent lab_timelapse
          RUNTIME DESTINATION ${lab_dir} COMPONENT laboratory
          LIBRARY DESTINATION ${lab_dir} COMPONENT laboratory)
  install(DIRECTORY lab/scenarios lab/sweep DESTINATION ${lab_dir} COMPONENT laboratory)
  install_link(../${lab_dir}/meshlab ${CMAKE_INSTALL_BINDIR} meshlab)
  install_link(../../${CMAKE_INSTALL_SBINDIR}/vorlent ${lab_dir} vorlent)
  install_link(../../${CMAKE_INSTALL_BINDIR}/nvram ${lab_dir} nvram)
endif()
if(TARGET vorlent-why)
  install(PROGRAMS ${CMAKE_BINARY_DIR}/vorlent-why DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT laboratory)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_SOURCE_DIR}/packaging/debian/folder_modes.cmake)
set(CPACK_PACKAGE_CONTACT "The vorlent developers <vorlent@localhost>")
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS OFF)
set(CPACK_DEBIAN_DAEMON_PACKAGE_NAME vorlent)
set(CPACK_DEBIAN_DAEMON_PACKAGE_DEPENDS init-system-helpers)
set(CPACK_DEBIAN_DAEMON_PACKAGE_CONTROL_STRICT_PERMISSION TRUE)
foreach(step postinst prerm postrm)
  list(APPEND CPACK_DEBIAN_DAEMON_PACKAGE_CONTROL_EXTRA ${CMAKE_SOURCE_DIR}/packaging/debian/${step})
endforeach()
set(CPACK_DEBIAN_DOCUMENTS_PACKAGE_NAME vorlent-doc)
set(CPACK_DEBIAN_DISSECTOR_PACKAGE_NAME vorlent-dissector)
set(CPACK_DEBIAN_NVRAM_PACKAGE_NAME vorlent-nvram)
set(CPACK_DEBIAN_LABORATORY_PACKAGE_NAME vorlent-lab)
set(CPACK_DEBIAN_LABORATORY_PACKAGE_DEPENDS "vorlent, vorlent-nvram, bubblewrap")
set(CPACK_DEBIAN_LABORATORY_PACKAGE_RECOMMENDS python3)
set(CPACK_DEBIAN_DISSECTOR_PACKAGE_ENHANCES wireshark)
set(CPACK_DEBIAN_DOCUMENTS_PACKAGE_ARCHITECTURE all)
set(CPACK_COMPONENT_DAEMON_DESCRIPTION "Onboarding daemon of a home Wi-Fi mesh")
set(CPACK_COMPONENT_NVRAM_DESCRIPTION "NVRAM command of the stand-in platform of vorlent")
set(CPACK_COMPONENT_DOCUMENTS_DESCRIPTION "Manual pages and documents of vorlent")
set(CPACK_COMPONENT_DISSECTOR_DESCRIPTION "Wireshark dissector of vorlent's frames")
set(CPACK_COMPONENT_LABORATORY_DESCRIPTION "A mesh of vorlent daemons on one machine, and vorlent-why")
include(CPack)
