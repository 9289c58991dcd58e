# Debian's armhf: ARMv7 with VFPv3-D16.
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CELLD_TRIPLET arm-linux-gnueabihf)
set(CELLD_EMULATOR qemu-arm-static)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
