# Toolchain for AArch64 Linux. On an AArch64 machine the native compiler is used as it is; elsewhere
# the cross compiler, with the user-mode processor emulator to run what the build produces.
if(NOT CMAKE_HOST_SYSTEM_PROCESSOR STREQUAL "aarch64")
    set(CMAKE_SYSTEM_NAME Linux)
    set(CMAKE_SYSTEM_PROCESSOR aarch64)
    set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
    set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
    set(CMAKE_ASM_COMPILER aarch64-linux-gnu-gcc)

    set(SVE_SYSROOT /usr/aarch64-linux-gnu CACHE PATH "Root of the AArch64 libraries that programs run with")
    # A server processor without SVE: what the product is for.
    set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -cpu neoverse-n1 -L ${SVE_SYSROOT})

    set(CMAKE_FIND_ROOT_PATH ${SVE_SYSROOT})
    set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
    set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
    set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
    set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
endif()
