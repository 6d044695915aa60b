# Toolchain for AArch64 Linux. On an AArch64 machine the native compiler is used as it is; elsewhere
# the cross compiler, with the user-mode processor emulator to run what the build produces.
if(NOT CMAKE_HOST_SYSTEM_PROCESSOR STREQUAL "aarch64")
    set(CMAKE_SYSTEM_NAME Linux)
    set(CMAKE_SYSTEM_PROCESSOR aarch64)
    # The cross compiler that corresponds to the one that the environment names for this machine, unless one is given:
    # of GCC it is a program of its own, of Clang an option.
    set(gnu_C gcc)
    set(gnu_CXX g++)
    set(named_C $ENV{CC})
    set(named_CXX $ENV{CXX})
    foreach(language C CXX)
        if(DEFINED CACHE{CMAKE_${language}_COMPILER})
            set(named_${language} $CACHE{CMAKE_${language}_COMPILER})
        endif()
        if(named_${language} MATCHES "clang")
            set(CMAKE_${language}_COMPILER ${named_${language}} CACHE STRING "")
            set(CMAKE_${language}_COMPILER_TARGET aarch64-linux-gnu)
        else()
            string(REGEX MATCH "-[0-9]+$" version "${named_${language}}")
            set(CMAKE_${language}_COMPILER aarch64-linux-gnu-${gnu_${language}}${version} CACHE STRING "")
        endif()
    endforeach()
    set(CMAKE_ASM_COMPILER ${CMAKE_C_COMPILER})
    set(CMAKE_ASM_COMPILER_TARGET ${CMAKE_C_COMPILER_TARGET})

    set(SVE_SYSROOT /usr/aarch64-linux-gnu CACHE PATH "Root of the AArch64 libraries that programs run with")
    # A server processor without SVE: what the product is for.
    set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -cpu neoverse-n1 -L ${SVE_SYSROOT})

    set(CMAKE_FIND_ROOT_PATH ${SVE_SYSROOT})
    set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
    set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
    set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
    set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
endif()
