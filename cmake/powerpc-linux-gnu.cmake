# Cross build for the plug-in's real target: a 32-bit big-endian PowerPC workstation.
# Debian's cross compiler (g++-powerpc-linux-gnu) builds, qemu-user runs the programs:
# ctest, GoogleTest's test discovery and the shell tests all go through
# CMAKE_CROSSCOMPILING_EMULATOR. scripts/install-be-tools.sh installs both.
#
#   cmake -S . -B build-be --toolchain cmake/powerpc-linux-gnu.cmake
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR powerpc)

set(KX_CROSS_TRIPLE powerpc-linux-gnu)
set(CMAKE_C_COMPILER ${KX_CROSS_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${KX_CROSS_TRIPLE}-g++)

# The target's system root: its libraries for the linker, its loader for the emulator.
set(KX_CROSS_SYSROOT /usr/${KX_CROSS_TRIPLE})
set(CMAKE_FIND_ROOT_PATH ${KX_CROSS_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-ppc -L ${KX_CROSS_SYSROOT})

# The model's tests check that this build is big-endian.
set(KX_EXPECT_BIG_ENDIAN ON)
