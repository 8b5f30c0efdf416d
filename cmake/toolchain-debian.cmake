# What the cross presets have in common. The including file sets `debian_triplet`, the name that
# Debian's cross compiler and library folders bear, `qemu`, which runs the result here, and
# CMAKE_SYSTEM_PROCESSOR.
#
# Libraries and headers come from a folder of the target's packages, which has to be made first, at
# build-sysroot-<preset>. A board's SDK takes its place by -DVORLENT_SYSROOT=<folder>; where neither
# is there, the compiler's own search finds what Debian's multiarch has installed.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${debian_triplet}-gcc)
set(CMAKE_CXX_COMPILER ${debian_triplet}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${debian_triplet})
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VORLENT_SYSROOT)

if(NOT VORLENT_SYSROOT AND EXISTS ${CMAKE_CURRENT_LIST_DIR}/../build-sysroot-${debian_name})
  get_filename_component(VORLENT_SYSROOT
    ${CMAKE_CURRENT_LIST_DIR}/../build-sysroot-${debian_name} ABSOLUTE)
endif()
set(root "")
if(VORLENT_SYSROOT)
  set(CMAKE_SYSROOT ${VORLENT_SYSROOT})
  set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
  set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
  set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
  set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
  set(ENV{PKG_CONFIG_SYSROOT_DIR} ${VORLENT_SYSROOT})
  set(root ${VORLENT_SYSROOT})
endif()
set(ENV{PKG_CONFIG_LIBDIR} ${root}/usr/lib/${debian_triplet}/pkgconfig:${root}/usr/share/pkgconfig)
set(CMAKE_CROSSCOMPILING_EMULATOR ${qemu})
if(VORLENT_SYSROOT)
  list(APPEND CMAKE_CROSSCOMPILING_EMULATOR -L ${VORLENT_SYSROOT})
endif()
