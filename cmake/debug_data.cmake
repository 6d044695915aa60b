# Used when files are installed: debug data stays in the build directory, and can be installed by itself.

# Strips a file that was copied just now, by `tool OPTION`. One that was stripped before, by the same tool, has another
# size than its source. The time stays: by it a later installation knows that the file is the same.
function(strip_installed source installed tool option)
    set(installed "$ENV{DESTDIR}${installed}")
    file(SIZE "${source}" source_size)
    file(SIZE "${installed}" installed_size)
    if(source_size EQUAL installed_size)
        execute_process(COMMAND "${tool}" ${option} --preserve-dates "${installed}" COMMAND_ERROR_IS_FATAL ANY)
    endif()
endfunction()

# Puts the debug data of a library, if it has been built, where debuggers look for it by its build ID.
function(install_debug_data library directory readelf objcopy)
    if(NOT EXISTS "${library}")
        return()
    endif()
    execute_process(COMMAND "${readelf}" --notes "${library}" OUTPUT_VARIABLE notes COMMAND_ERROR_IS_FATAL ANY)
    if(NOT notes MATCHES "Build ID: ([0-9a-f][0-9a-f])([0-9a-f]+)")
        message(FATAL_ERROR "${library} has no build ID: link it with -Wl,--build-id.")
    endif()
    set(file "$ENV{DESTDIR}${directory}/.build-id/${CMAKE_MATCH_1}/${CMAKE_MATCH_2}.debug")
    if(EXISTS "${file}")
        message(STATUS "Up-to-date: ${file}")
        return()
    endif()
    message(STATUS "Installing: ${file}")
    cmake_path(GET file PARENT_PATH parent)
    file(MAKE_DIRECTORY "${parent}")
    execute_process(COMMAND "${objcopy}" --only-keep-debug --compress-debug-sections "${library}" "${file}.new"
                    COMMAND_ERROR_IS_FATAL ANY)
    file(CHMOD "${file}.new" PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
    file(RENAME "${file}.new" "${file}")
endfunction()
