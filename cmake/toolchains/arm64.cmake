# Debian's arm64: ARMv8-A.
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CELLD_TRIPLET aarch64-linux-gnu)
set(CELLD_EMULATOR qemu-aarch64-static)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
