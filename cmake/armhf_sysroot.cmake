# armhf.cmake, against the packages that scripts/arm_sysroot.sh unpacked.
include(${CMAKE_CURRENT_LIST_DIR}/armhf.cmake)

get_filename_component(CMAKE_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../build/arm/sysroot ABSOLUTE)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Qt asks for its plug-ins with a system call whose paths qemu does not look for below -L.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L ${CMAKE_SYSROOT}
  -E QT_PLUGIN_PATH=${CMAKE_SYSROOT}/usr/lib/arm-linux-gnueabihf/qt5/plugins
)
