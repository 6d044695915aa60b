# Options of the build, and the compiler flags that every target of ours shares.

# What is known to build and to pass the tests. The messages are short, so that CMake leaves them in one line.
set(compiler "${CMAKE_CXX_COMPILER_ID} ${CMAKE_CXX_COMPILER_VERSION}")
string(REPLACE "GNU" "GCC" compiler "${compiler}")
set(oldest_GNU 12)
set(oldest_Clang 14)
set(oldest "GCC ${oldest_GNU} or Clang ${oldest_Clang}")
if(NOT DEFINED oldest_${CMAKE_CXX_COMPILER_ID})
    message(WARNING "${compiler} has not been tried, unlike ${oldest}.")
elseif(CMAKE_CXX_COMPILER_VERSION VERSION_LESS oldest_${CMAKE_CXX_COMPILER_ID})
    message(FATAL_ERROR "${compiler} is too old: take ${oldest}, or a newer one.")
endif()
# The dynamic linker parts its list of preloaded libraries at these.
if(PROJECT_SOURCE_DIR MATCHES "[ :$]")
    message(FATAL_ERROR "The path has a space, a colon or a dollar sign: move the checkout.")
endif()

set(SVE_VECTOR_BITS 640 CACHE STRING "Vector length in bits: a multiple of 128 from 128 to 2048")
set(SVE_EXTRA_VECTOR_BITS 128 256 512 1024 2048 CACHE STRING
    "Further vector lengths, for which an AArch64 build makes client libraries too; may be empty")
function(check_vector_length option bits)
    if(bits MATCHES "^[1-9][0-9]*$" AND NOT bits GREATER 2048)
        math(EXPR rest "${bits} % 128")
        if(rest EQUAL 0)
            return()
        endif()
    endif()
    message(FATAL_ERROR "${option} has '${bits}': give multiples of 128 from 128 to 2048, such as 640.")
endfunction()
check_vector_length(SVE_VECTOR_BITS "${SVE_VECTOR_BITS}")
foreach(bits IN LISTS SVE_EXTRA_VECTOR_BITS)
    check_vector_length(SVE_EXTRA_VECTOR_BITS "${bits}")
endforeach()

option(SVE_WARNINGS_AS_ERRORS "Let a warning of the compiler end the build" OFF)
set(SVE_SANITIZE OFF CACHE STRING
    "ON: build with address and undefined-behaviour sanitizers; thread: with the thread sanitizer")
if(NOT SVE_SANITIZE MATCHES "^(ON|OFF|thread)$")
    message(FATAL_ERROR "SVE_SANITIZE is '${SVE_SANITIZE}': give ON, OFF or thread.")
endif()
option(SVE_STATISTICS "Build, beside the client library that doesn't count, the one that counts instructions" ON)
set(SVE_PLATFORM builtin CACHE STRING
    "Platform that the client library is built for: builtin, or dynamorio (an installed one)")
set_property(CACHE SVE_PLATFORM PROPERTY STRINGS builtin dynamorio)
if(NOT SVE_PLATFORM MATCHES "^(builtin|dynamorio)$")
    message(FATAL_ERROR "SVE_PLATFORM is '${SVE_PLATFORM}': give builtin or dynamorio.")
endif()

if(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
    set(SVE_TARGET_IS_AARCH64 TRUE)
    # What runs inside programs has no runtime of sanitizers.
    if(NOT SVE_SANITIZE)
        set(SVE_HAS_PLATFORM TRUE)
    endif()
endif()

# The lengths that this build is for, the main one first; and those that can be asked for by the names of their targets.
set(SVE_ALL_VECTOR_BITS ${SVE_VECTOR_BITS})
set(SVE_POSSIBLE_VECTOR_BITS ${SVE_VECTOR_BITS})
if(SVE_HAS_PLATFORM)
    foreach(bits RANGE 128 2048 128)
        list(APPEND SVE_POSSIBLE_VECTOR_BITS ${bits})
    endforeach()
    list(REMOVE_DUPLICATES SVE_POSSIBLE_VECTOR_BITS)
    list(APPEND SVE_ALL_VECTOR_BITS ${SVE_EXTRA_VECTOR_BITS})
    list(REMOVE_DUPLICATES SVE_ALL_VECTOR_BITS)
endif()

# Where sverun finds the AArch64 libraries, and where the examples are: below the prefix. They are for programs
# only, and not for the machine's linker, so they have directories of their own.
set(SVE_RUNTIME_DIR lib/sverun)
set(SVE_SHARE_DIR share/sverun)
set(SVE_EXAMPLES_DIR ${SVE_SHARE_DIR}/examples)

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS ON) # vector types and the `asm` keyword
set(CMAKE_C_STANDARD 11)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# The name by which a debugger finds the debug data of a library that was installed without it.
add_link_options(-Wl,--build-id)

# Warnings and definitions for our own targets, not for the test library's sources. sve_flags has the vector
# length too; sve_flags_of_any_length is for what doesn't depend on it or is told another one. sve_warnings alone is for
# programs that are compiled as a user's are.
add_library(sve_warnings INTERFACE)
target_compile_options(sve_warnings INTERFACE
    -Wall -Wextra $<$<BOOL:${SVE_WARNINGS_AS_ERRORS}>:-Werror>
    # A vector wider than the host's registers is passed within one library only.
    $<$<COMPILE_LANGUAGE:CXX>:-Wno-psabi>
    # The reference functions have C names only, so that they can be looked up: who calls them is C++.
    $<$<COMPILE_LANG_AND_ID:CXX,Clang>:-Wno-return-type-c-linkage>
    # Algorithms of the C++ library use what they deprecate.
    $<$<COMPILE_LANG_AND_ID:CXX,Clang>:-Wno-error=deprecated-declarations>)
add_library(sve_flags_of_any_length INTERFACE)
target_include_directories(sve_flags_of_any_length INTERFACE ${PROJECT_SOURCE_DIR})
target_link_libraries(sve_flags_of_any_length INTERFACE sve_warnings)
add_library(sve_flags INTERFACE)
target_link_libraries(sve_flags INTERFACE sve_flags_of_any_length)
target_compile_definitions(sve_flags INTERFACE SVE_VECTOR_BITS=${SVE_VECTOR_BITS})
if(SVE_SANITIZE)
    set(sanitizers address,undefined)
    if(SVE_SANITIZE STREQUAL "thread")
        set(sanitizers thread)
    endif()
    add_compile_options(-fsanitize=${sanitizers} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${sanitizers})
endif()
