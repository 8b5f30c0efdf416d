# What every package needs beside what is installed, done where it lies ready to be packed.
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER CPACK_DEBIAN_${component}_PACKAGE_NAME name)
  set(changes ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr/share/doc/${${name}}/changelog)
  file(WRITE ${changes} "vorlent (${CPACK_PACKAGE_VERSION}) unstable; urgency=medium\n\n"
    "  * What has changed for users: CHANGELOG.md, in the package vorlent-doc.\n\n"
    " -- ${CPACK_PACKAGE_CONTACT}  ${date}\n")
  execute_process(COMMAND gzip -9nf ${changes})
endforeach()
# The usual modes, whatever umask it is built under.
execute_process(COMMAND chmod -R u=rwX,go=rX ${CPACK_TEMPORARY_DIRECTORY})
