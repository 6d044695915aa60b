# What a user gets, by components that can each be installed when only their own targets are built:
#
#   launcher       bin/sverun, for the machine that starts programs
#   runtime        lib/sverun/libsve_platform.so, and share/sverun/sverun-gdb.py: what gdb has to know of programs
#   client_<bits>  lib/sverun/libsve_stats_<bits>.so and libsve_<bits>.so, for each vector length
#   examples       share/sverun/examples/: AArch64 programs to try it on, with their sources
#   documentation  share/doc/sverun, share/man
#   development    include/sve, lib: for embedders the core and the floating-point library, for the architecture of the
#                  build, with files for CMake and pkg-config
#   debug          lib/debug/.build-id/: debug data of the libraries in lib/sverun; installed only if it is asked for
#
# A machine that isn't AArch64 needs two builds, which install into one place: a native one for launcher and
# development, and a cross build for the rest. These two of a cross build are installed only if they are asked for.
include(CMakePackageConfigHelpers)
if(CMAKE_CROSSCOMPILING)
    set(unless_cross EXCLUDE_FROM_ALL)
endif()

# Strips what install(TARGETS) above it has copied into the directory, which is below the prefix, by `strip OPTION`.
# Further arguments are install()'s.
set(debug_data "include(\"${PROJECT_SOURCE_DIR}/cmake/debug_data.cmake\")")
function(strip_installed target option directory)
    install(CODE "${debug_data}
        strip_installed(\"$<TARGET_FILE:${target}>\"
            \"\${CMAKE_INSTALL_PREFIX}/${directory}/$<TARGET_FILE_NAME:${target}>\" \"${CMAKE_STRIP}\" ${option})"
            ${ARGN})
endfunction()

install(TARGETS sverun DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT launcher ${unless_cross})
strip_installed(sverun --strip-all ${CMAKE_INSTALL_BINDIR} COMPONENT launcher ${unless_cross})
if(SVE_HAS_PLATFORM)
    # sverun-gdb.py asks for symbols of the platform, which are few.
    install(TARGETS sve_platform DESTINATION ${SVE_RUNTIME_DIR} COMPONENT runtime)
    strip_installed(sve_platform --strip-debug ${SVE_RUNTIME_DIR} COMPONENT runtime)
    install(FILES tools/sverun-gdb.py DESTINATION ${SVE_SHARE_DIR} COMPONENT runtime)
    set(libraries sve_platform)
    foreach(bits IN LISTS SVE_POSSIBLE_VECTOR_BITS)
        set(only_if_asked EXCLUDE_FROM_ALL)
        if(bits IN_LIST SVE_ALL_VECTOR_BITS)
            set(only_if_asked)
            list(APPEND libraries ${SVE_CLIENTS_${bits}})
        endif()
        foreach(client IN LISTS SVE_CLIENTS_${bits})
            set(how COMPONENT client_${bits} ${only_if_asked})
            install(TARGETS ${client} DESTINATION ${SVE_RUNTIME_DIR} ${how})
            strip_installed(${client} --strip-unneeded ${SVE_RUNTIME_DIR} ${how})
        endforeach()
    endforeach()
    foreach(library IN LISTS libraries)
        install(CODE "${debug_data}
            install_debug_data(\"$<TARGET_FILE:${library}>\" \"\${CMAKE_INSTALL_PREFIX}/lib/debug\"
                \"${CMAKE_READELF}\" \"${CMAKE_OBJCOPY}\")"
            COMPONENT debug EXCLUDE_FROM_ALL)
    endforeach()
    # Programs to look at: with symbols and lines, by which the profile names things.
    install(TARGETS ${SVE_EXAMPLES} RUNTIME DESTINATION ${SVE_EXAMPLES_DIR} COMPONENT examples)
    install(DIRECTORY examples/ DESTINATION ${SVE_EXAMPLES_DIR} COMPONENT examples FILES_MATCHING PATTERN "*.c")
endif()
set(doc_dir ${CMAKE_INSTALL_DATAROOTDIR}/doc/sverun)
install(FILES README.md DESTINATION ${doc_dir} COMPONENT documentation)
install(DIRECTORY recipes DESTINATION ${doc_dir} COMPONENT documentation)
install(DIRECTORY docs DESTINATION ${doc_dir} COMPONENT documentation PATTERN "*.1" EXCLUDE)
install(FILES docs/sverun.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT documentation)

# ---- For embedders --------------------------------------------------------------------------------

set(for_embedders COMPONENT development ${unless_cross})
foreach(archive sve_core_archive sve_fplib)
    install(TARGETS ${archive} EXPORT sve-emulation DESTINATION ${CMAKE_INSTALL_LIBDIR} ${for_embedders})
    strip_installed(${archive} --strip-debug ${CMAKE_INSTALL_LIBDIR} ${for_embedders})
endforeach()
# The headers that those of the interface, sve_utils.h and signals.h, include.
foreach(header bits cpu_state decode_maps export handler handler_row mapped_arena page_size short_mutex
               signals sve_utils translation vector_length vector_use)
    install(FILES sve/core/${header}.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/sve/core ${for_embedders})
endforeach()
install(FILES sve/fplib/fplib.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/sve/fplib ${for_embedders})

set(cmake_files ${CMAKE_INSTALL_LIBDIR}/cmake/sve-emulation)
install(EXPORT sve-emulation NAMESPACE sve:: FILE sve-emulation-targets.cmake
        DESTINATION ${cmake_files} ${for_embedders})
write_basic_package_version_file(sve-emulation-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES cmake/sve-emulation-config.cmake ${PROJECT_BINARY_DIR}/sve-emulation-config-version.cmake
        DESTINATION ${cmake_files} ${for_embedders})

# From the directory of the .pc files to the prefix, so that the tree can be moved.
file(RELATIVE_PATH pkg_config_to_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" pkg_config_to_prefix "${pkg_config_to_prefix}")
foreach(module sve-core sve-fplib)
    configure_file(cmake/${module}.pc.in ${PROJECT_BINARY_DIR}/${module}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/${module}.pc
            DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig ${for_embedders})
endforeach()
