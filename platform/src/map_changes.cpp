// The functions by which a program changes its map. These stand in front of the C library's functions of the
// same names, hand everything on, and have what was known of the code there forgotten. New libraries are loaded where
// nothing was mapped, so dlopen, which has to be called by the program itself, needs none.
#include "platform/include/dr_api.h"
#include "platform/src/code_map.h"
#include "platform/src/libc_functions.h"

#include <cstdarg>
#include <cstdint>
#include <dlfcn.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace platform;

namespace {

// The next function of the name, or, before those are known, the kernel's.
template <class Result, class Function, class... Argument>
Result hand_on(Function libc_functions::*next, long number, Argument... argument) {
    if (libc_is_known() && libc().*next)
        return (libc().*next)(argument...);
    return (Result)syscall(number, argument...); // NOLINT: a pointer or an int
}

// Afterwards, so that nobody learns what was there before in between.
template <class Result>
Result changed(const void *start, size_t size, Result result) {
    const auto first = reinterpret_cast<uintptr_t>(start);
    forget_code(first, first + size);
    return result;
}

} // namespace

extern "C" {

DR_EXPORT void *mmap(void *address, size_t size, int protection, int flags, int file,
                     off_t offset) noexcept {
    void *result = hand_on<void *>(&libc_functions::mmap, SYS_mmap, address, size, protection,
                                   flags, file, offset);
    return changed(result, result == MAP_FAILED ? 0 : size, result);
}
DR_EXPORT void *mmap64(void *address, size_t size, int protection, int flags, int file,
                       off64_t offset) noexcept {
    return mmap(address, size, protection, flags, file, offset);
}

DR_EXPORT int munmap(void *address, size_t size) noexcept {
    return changed(address, size, hand_on<int>(&libc_functions::munmap, SYS_munmap, address, size));
}

DR_EXPORT void *mremap(void *address, size_t size, size_t new_size, int flags, ...) noexcept {
    std::va_list arguments;
    va_start(arguments, flags);
    void *place = flags & MREMAP_FIXED ? va_arg(arguments, void *) : nullptr;
    va_end(arguments);
    void *result =
        hand_on<void *>(&libc_functions::mremap, SYS_mremap, address, size, new_size, flags, place);
    changed(address, size, result);
    return changed(result, result == MAP_FAILED ? 0 : new_size, result);
}

DR_EXPORT int mprotect(void *address, size_t size, int protection) noexcept {
    return changed(
        address, size,
        hand_on<int>(&libc_functions::mprotect, SYS_mprotect, address, size, protection));
}
DR_EXPORT int pkey_mprotect(void *address, size_t size, int protection, int key) noexcept {
    if (key == -1)
        return mprotect(address, size, protection);
    return changed(address, size,
                   hand_on<int>(&libc_functions::pkey_mprotect, SYS_pkey_mprotect, address, size,
                                protection, key));
}

DR_EXPORT int dlclose(void *library) noexcept {
    const int result = libc().dlclose(library);
    const module_record *program = main_module();
    forget_code(0, program ? program->start : UINTPTR_MAX);
    if (program)
        forget_code(program->end, UINTPTR_MAX);
    return result;
}

} // extern "C"
