# SPDX-License-Identifier: Apache-2.0
# Cross building for AArch64 Linux with Debian's cross compiler. Arm's own GLib and the header-only
# libraries of the tool come out of packages unpacked into a folder, so that the machine's package
# state stays as it is; scripts/test-aarch64 fills that folder.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

# The configure step compiles in folders of its own, which hear of the variable only by this list.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES STEADYWARP_AARCH64_ROOT)
set(STEADYWARP_AARCH64_ROOT ${CMAKE_CURRENT_LIST_DIR}/../build/aarch64-root
    CACHE PATH "Where the packages for the target are unpacked")
get_filename_component(root ${STEADYWARP_AARCH64_ROOT} ABSOLUTE)

set(CMAKE_FIND_ROOT_PATH ${root} /usr/aarch64-linux-gnu)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} ${root}/usr/lib/aarch64-linux-gnu/pkgconfig:${root}/usr/share/pkgconfig)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${root})
set(CMAKE_C_FLAGS_INIT "-isystem ${root}/usr/include")
set(CMAKE_CXX_FLAGS_INIT "-isystem ${root}/usr/include")
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-Wl,-rpath-link,${root}/usr/lib/aarch64-linux-gnu")
endforeach()

set(CMAKE_CROSSCOMPILING_EMULATOR
    /usr/bin/qemu-aarch64 -L /usr/aarch64-linux-gnu
    -E LD_LIBRARY_PATH=${root}/usr/lib/aarch64-linux-gnu)
