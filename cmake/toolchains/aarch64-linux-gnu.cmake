# Cross build for the handheld (64-bit ARM Linux) with Debian's cross compiler
# (g++-aarch64-linux-gnu) against the arm64 packages installed alongside the host's
# (dpkg --add-architecture arm64; tools/cross.sh installs everything).
#
#   cmake -S . -B build-arm64 -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/aarch64-linux-gnu.cmake
#
# Test programs run under qemu user-mode emulation: the emulator is named below, so
# gtest_discover_tests and ctest start every arm64 binary through it, with no need for
# the kernel's binfmt_misc handler.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(MP_CROSS_TRIPLET aarch64-linux-gnu)
set(CMAKE_C_COMPILER ${MP_CROSS_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${MP_CROSS_TRIPLET}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${MP_CROSS_TRIPLET})

# Debian's multiarch layout: arm64 libraries and CMake package files live under
# /usr/lib/aarch64-linux-gnu beside the host's, headers are shared in /usr/include.
# With the library architecture set, CMake and the cross linker search the arm64 folder
# and never the host's /usr/lib/x86_64-linux-gnu.

# pkg-config must see the arm64 .pc files only: PKG_CONFIG_LIBDIR replaces its default
# search path (which would find the host's amd64 files), and PKG_CONFIG_PATH is
# cleared so nothing from the environment slips in. The files use plain /usr paths, so
# no sysroot is applied.
set(ENV{PKG_CONFIG_LIBDIR} "/usr/lib/${MP_CROSS_TRIPLET}/pkgconfig:/usr/share/pkgconfig")
set(ENV{PKG_CONFIG_PATH} "")
set(ENV{PKG_CONFIG_SYSROOT_DIR} "")

# qemu-aarch64-static runs arm64 programs on the build machine. -L / tells it where the
# guest root is: the arm64 loader /lib/ld-linux-aarch64.so.1 and the arm64 libraries
# under /usr/lib/aarch64-linux-gnu come from the multiarch packages (libc6:arm64 and
# the rest), and the loader finds them through the shared ld.so configuration.
find_program(MP_QEMU_AARCH64 qemu-aarch64-static)
if(MP_QEMU_AARCH64)
    set(CMAKE_CROSSCOMPILING_EMULATOR "${MP_QEMU_AARCH64};-L;/")
endif()
