# Cross build for the phone's own processor (arm64) on a Debian machine with
# the aarch64 cross compiler and the arm64 libraries installed side by side
# (multiarch, under /usr/lib/aarch64-linux-gnu). Tests run through
# qemu-aarch64 with the machine's root as the library root; children the
# tests start go through the same emulator (VYR_EMULATOR, set by ctest).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

# Headers and libraries of the multiarch root; host programs from the machine.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)

# pkg-config sees only the arm64 and architecture-independent .pc files.
set(ENV{PKG_CONFIG_LIBDIR} "/usr/lib/aarch64-linux-gnu/pkgconfig:/usr/share/pkgconfig")
set(ENV{PKG_CONFIG_SYSROOT_DIR} "")

# "-L /": the dynamic loader and libraries of the multiarch root. The cross
# toolchain's own tree (/usr/aarch64-linux-gnu) hangs at the first thread.
find_program(VYR_QEMU_AARCH64 qemu-aarch64)
if(VYR_QEMU_AARCH64)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${VYR_QEMU_AARCH64} -L /)
endif()
