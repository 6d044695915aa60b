#pragma once

#include <cstdint>

namespace platform {

struct module_record {
    uintptr_t start;
    uintptr_t end;
    const char *path;
};

// Once, at the start.
void find_main_module();

// The executable, or null if it couldn't be found.
const module_record *main_module();

// Whether the code at an address is guarded against branches that don't land where they should: the
// executable's, if it was built so and the processor does it.
bool is_guarded(uintptr_t address);

// The module that holds an address. False if none does. `path` has room for PATH_MAX bytes and may
// be what the record's path points to.
bool find_module(uintptr_t address, module_record &record, char *path);

// The address that a module's file gives to what lies at `address`: what disassemblers show.
uintptr_t address_in_file(const module_record &module, uintptr_t address);

// Have SVE emulated in the program's libraries, too.
void emulate_libraries();
bool libraries_are_emulated();

// From now on, or no longer, this thread's look-ups for clients are of what is known of code (code_map.h). Under the patch
// lock.
void look_up_known_code(bool known);

// The platform's module, or the client's, starts there. Once for each.
void note_own_module(uintptr_t start);

// Whether a module is neither the executable nor the platform's, the client's or the C library's.
bool is_program_library(const module_record &module);

// Whether SVE is emulated in the code at an address: the executable's, code in no module, and that of
// the program's libraries if it is asked for.
bool is_emulated_code(uintptr_t address);

// The same of a function that lies in a module: only with libraries the process's map has to tell which.
bool is_emulated_function(uintptr_t address);

} // namespace platform
