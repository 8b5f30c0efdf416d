# 64-bit ARM.
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(debian_name arm64)
set(debian_triplet aarch64-linux-gnu)
set(qemu qemu-aarch64-static)
include(${CMAKE_CURRENT_LIST_DIR}/toolchain-debian.cmake)
