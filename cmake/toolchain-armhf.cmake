# 32-bit ARM, hard float: the usual router board.
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(debian_name armhf)
set(debian_triplet arm-linux-gnueabihf)
set(qemu qemu-arm-static)
# Not a fault: GCC tells of an ABI change between versions that nobody mixes here.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
include(${CMAKE_CURRENT_LIST_DIR}/toolchain-debian.cmake)
