# Cross build for the device: 32-bit ARM Linux, hard float (Debian armhf).
#
# Compiler, C and C++ runtime headers and link libraries: Debian's cross
# toolchain (g++-arm-linux-gnueabihf, under /usr/arm-linux-gnueabihf).
# Everything else (pixman, FreeType, libpng, zlib, inih, GoogleTest): the armhf
# sysroot that tools/armhf-sysroot.sh unpacks from Debian's armhf packages into
# build/armhf-sysroot (or $UISHULL_ARMHF_SYSROOT).
#
# CMAKE_SYSROOT is deliberately not set: --sysroot would make the compiler look
# for libc's headers and crt files in the sysroot, which holds only the runtime
# of libc (for qemu), not its development files; those come with the toolchain.
#
# Linking is dynamic, as on the device. "qemu-arm -L SYSROOT" runs the binaries:
# the sysroot holds Debian's armhf dynamic loader, libc, libstdc++ and every
# library we link, at the paths the loader searches by default, so no
# LD_LIBRARY_PATH or rpath is needed. Static linking was not chosen because it
# would differ from the device build, glibc does not support dlopen and NSS well
# in static programs, and the virtual board's preload library can only reach
# dynamically linked programs.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)

set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)

if(NOT UISHULL_ARMHF_SYSROOT)
  if(DEFINED ENV{UISHULL_ARMHF_SYSROOT})
    set(UISHULL_ARMHF_SYSROOT "$ENV{UISHULL_ARMHF_SYSROOT}")
  else()
    set(UISHULL_ARMHF_SYSROOT "${CMAKE_CURRENT_LIST_DIR}/../build/armhf-sysroot")
  endif()
endif()
get_filename_component(UISHULL_ARMHF_SYSROOT "${UISHULL_ARMHF_SYSROOT}" ABSOLUTE)
# try_compile projects read this file again: hand them the same sysroot.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES UISHULL_ARMHF_SYSROOT)

if(NOT EXISTS "${UISHULL_ARMHF_SYSROOT}/.uishull-sysroot")
  message(FATAL_ERROR "No armhf sysroot at ${UISHULL_ARMHF_SYSROOT}: run tools/armhf-sysroot.sh "
    "(tools/install-deps.sh runs it).")
endif()

set(_armhf_libdirs
  "${UISHULL_ARMHF_SYSROOT}/lib/${CMAKE_LIBRARY_ARCHITECTURE}"
  "${UISHULL_ARMHF_SYSROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}")

# find_package, find_library and find_path look in the sysroot only; programs
# (pkg-config, qemu-arm, code generators) are the build machine's.
set(CMAKE_FIND_ROOT_PATH "${UISHULL_ARMHF_SYSROOT}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# pkg-config reads the sysroot's .pc files only and prefixes their paths with
# the sysroot. Its filtering of "system" directories (/usr/include, /usr/lib)
# is turned off by naming the toolchain's own directories instead: the cross
# compiler does not search the sysroot's /usr/include by itself.
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${UISHULL_ARMHF_SYSROOT}")
set(ENV{PKG_CONFIG_LIBDIR}
  "${UISHULL_ARMHF_SYSROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/pkgconfig:${UISHULL_ARMHF_SYSROOT}/usr/share/pkgconfig")
set(ENV{PKG_CONFIG_PATH} "")
set(ENV{PKG_CONFIG_SYSTEM_INCLUDE_PATH} "/usr/${CMAKE_LIBRARY_ARCHITECTURE}/include")
set(ENV{PKG_CONFIG_SYSTEM_LIBRARY_PATH} "/usr/${CMAKE_LIBRARY_ARCHITECTURE}/lib")

# Debian's cross compiler searches the build machine's /usr/include last, where
# amd64 headers (SDL2, for one) would be found for an armhf build. -isysroot
# puts the sysroot's /usr/include in its place.
#
# 64-bit file offsets and inode numbers: without them readdir() fails with
# EOVERFLOW under qemu-arm on a 64-bit host (the host's directory cookies do
# not fit 32 bits), and files over 2 GiB cannot be read. time_t stays 32-bit,
# as on the device: it sets the layout of struct input_event.
set(_armhf_flags "-isysroot ${UISHULL_ARMHF_SYSROOT} -D_FILE_OFFSET_BITS=64")
set(CMAKE_C_FLAGS_INIT "${_armhf_flags}")
set(CMAKE_CXX_FLAGS_INIT "${_armhf_flags}")

# The linker finds the libraries that the sysroot's libraries need in turn.
list(JOIN _armhf_libdirs ":" _armhf_rpath_link)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,-rpath-link,${_armhf_rpath_link}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-Wl,-rpath-link,${_armhf_rpath_link}")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-Wl,-rpath-link,${_armhf_rpath_link}")

# ctest (and gtest_discover_tests) run the armhf programs through qemu-arm.
find_program(UISHULL_QEMU_ARM qemu-arm REQUIRED)
set(CMAKE_CROSSCOMPILING_EMULATOR "${UISHULL_QEMU_ARM};-L;${UISHULL_ARMHF_SYSROOT}")
