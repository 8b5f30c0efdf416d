# The Debian packages that CPack makes, one for each component.
set(CPACK_GENERATOR DEB)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_SOURCE_DIR}/packaging/debian/staged.cmake)
set(CPACK_PACKAGE_CONTACT "The vorlent developers <vorlent@localhost>")
set(CPACK_STRIP_FILES ON)
# By DESTDIR, so that what is written at the installation names the places that it will have.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS OFF)
set(CPACK_DEBIAN_DAEMON_PACKAGE_NAME vorlent)
set(CPACK_DEBIAN_DAEMON_PACKAGE_DEPENDS "init-system-helpers (>= 1.54~)")
set(linux_services "vorlent-network.service vorlent-radio.service")
set(linux_left "/run/vorlent /var/lib/vorlent")
set(daemon_services vorlent.service)
set(daemon_left "/tmp/vorlent_dbg.log /tmp/vorlent_dbg.log.1 /tmp/rsa_pri.pem /tmp/rsa_pub.pem /tmp/vexo_onborading.json /tmp/vexo_onborading.json.tmp /tmp/escanresults_log")
foreach(component daemon linux)
  set(SERVICES ${${component}_services})
  set(LEFT ${${component}_left})
  string(TOUPPER CPACK_DEBIAN_${component}_PACKAGE_CONTROL control)
  set(${control}_STRICT_PERMISSION TRUE)
  foreach(step postinst prerm postrm)
    set(script ${CMAKE_BINARY_DIR}/maintainer/${component}/${step})
    configure_file(packaging/debian/${step}.in ${script} @ONLY)
    list(APPEND ${control}_EXTRA ${script})
  endforeach()
endforeach()
set(CPACK_DEBIAN_DOCUMENTS_PACKAGE_NAME vorlent-doc)
set(CPACK_DEBIAN_DOCUMENTS_PACKAGE_SECTION doc)
set(CPACK_DEBIAN_DISSECTOR_PACKAGE_NAME vorlent-dissector)
set(CPACK_DEBIAN_NVRAM_PACKAGE_NAME vorlent-nvram)
set(CPACK_DEBIAN_LINUX_PACKAGE_NAME vorlent-linux)
set(CPACK_DEBIAN_LINUX_PACKAGE_DEPENDS
    "vorlent (= ${PROJECT_VERSION}), vorlent-nvram (= ${PROJECT_VERSION}), hostapd, wpasupplicant, init-system-helpers (>= 1.54~)")
set(CPACK_DEBIAN_LABORATORY_PACKAGE_NAME vorlent-lab)
set(CPACK_DEBIAN_LABORATORY_PACKAGE_DEPENDS
    "vorlent (= ${PROJECT_VERSION}), vorlent-nvram (= ${PROJECT_VERSION}), bubblewrap, python3:any")
set(CPACK_DEBIAN_LABORATORY_PACKAGE_RECOMMENDS "tshark, vorlent-dissector")
set(CPACK_DEBIAN_DISSECTOR_PACKAGE_ENHANCES "wireshark, tshark")
set(CPACK_DEBIAN_DOCUMENTS_PACKAGE_ARCHITECTURE all)
# Each has a synopsis of its own, the first line; the project's would stand before it.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_COMPONENT_DAEMON_DESCRIPTION "onboarding daemon of a home Wi-Fi mesh
Runs on each unit of a mesh, base router and satellites alike, and brings a
unit fresh from the factory in as a satellite. With vorlentctl, the owner's
command.")
set(CPACK_COMPONENT_NVRAM_DESCRIPTION "NVRAM command where no platform has one
Shows and changes the settings that vorlent reads from the stand-in for a
platform's NVRAM, which is a text file.")
set(CPACK_COMPONENT_LINUX_DESCRIPTION "services of an ordinary Linux box for vorlent
One owns a card of the kernel's 802.11 stack and speaks with vorlent as a
router's driver would, one makes the unit's networks out of NVRAM.")
set(CPACK_COMPONENT_DOCUMENTS_DESCRIPTION "documents of the onboarding daemon vorlent
What changed, how it is built, ported to a platform and run on ordinary Linux
boxes, how the laboratory works, what the daemon costs, and what it protects.")
set(CPACK_COMPONENT_DISSECTOR_DESCRIPTION "Wireshark dissector of vorlent's frames
Shows vorlent's vendor elements and operations in a capture of the air, and
what a driver's event forwarder tells the daemon. For wireshark and tshark,
and for vorlent-why, which reads captures by it.")
set(CPACK_COMPONENT_LABORATORY_DESCRIPTION "whole vorlent mesh on one machine, and log reader
meshlab runs real daemons in sandboxes over a played air; vorlent-why says from
a log and a capture why a unit did not come in.")
include(CPack)
