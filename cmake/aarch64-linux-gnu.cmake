# Cross build for 64-bit Arm Linux with Debian's cross compiler; libraries
# come from the arm64 multiarch packages (/usr/lib/aarch64-linux-gnu), and
# the tests run under qemu-aarch64.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

# Multiarch packages share /usr/include with the host; their libraries and
# CMake packages are told apart by the library architecture above, and
# programs (nm, ...) are the host's.

# The C library of the cross toolchain, and the multiarch one for the rest.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L /usr/aarch64-linux-gnu
    -E LD_LIBRARY_PATH=/usr/lib/aarch64-linux-gnu)
