// What the program is told about the processor. Code whose SVE instructions are emulated hears of SVE
// and the one vector length that there is, as on a processor that has it; the code of other modules,
// the platform's and the client's among them, hears the truth. The return address tells who asks. The
// functions stand in front of the C library's of the same names, and hand everything else on.
#include "platform/src/features.h"

#include "platform/include/dr_api.h"
#include "platform/src/libc_functions.h"
#include "platform/src/modules.h"
#include "platform/src/start.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <fcntl.h>
#include <link.h>
#include <sys/auxv.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

using namespace platform;

namespace {

unsigned vector_bytes; // 0: no client has told

unsigned long capabilities; // AT_HWCAP, if the loader has told

// Whether the loader has relocated this library. Resolvers of indirect functions may ask before: then nothing
// of another library can be called, and no function of another file of this one.
bool is_relocated() {
    static const void *volatile const address = &vector_bytes;
    return address == &vector_bytes;
}

bool sees_vectors(const void *caller) {
    // The constructors of libraries run before this one's, and some choose their code there.
    if (is_relocated() && _r_debug.r_state == r_debug::RT_CONSISTENT)
        start_platform_for_libraries();
    return vector_bytes && is_emulated_code(reinterpret_cast<uintptr_t>(caller));
}

// ---- The auxiliary vector -----------------------------------------------------------------------

long system_call(long number, long a, const void *b = nullptr, long c = 0) {
    register long x8 asm("x8") = number;
    register long x0 asm("x0") = a;
    register const void *x1 asm("x1") = b;
    register long x2 asm("x2") = c;
    register long x3 asm("x3") = 0;
    asm volatile("svc #0" : "+r"(x0) : "r"(x8), "r"(x1), "r"(x2), "r"(x3) : "memory");
    return x0;
}

unsigned long read_auxiliary_value(unsigned long type) {
    const long file = system_call(SYS_openat, AT_FDCWD, "/proc/self/auxv", O_RDONLY | O_CLOEXEC);
    ElfW(auxv_t) entries[64]; // the kernel has 20 or so
    const long bytes = system_call(SYS_read, file, entries, sizeof entries);
    system_call(SYS_close, file);
    for (long i = 0; (i + 1) * long{sizeof *entries} <= bytes; i++)
        if (entries[i].a_type == type)
            return entries[i].a_un.a_val;
    if (is_relocated())
        errno = ENOENT;
    return 0;
}

unsigned long auxiliary_value(unsigned long type, const void *caller) {
    const unsigned long truth = true_auxiliary_value(type);
    return type == AT_HWCAP && sees_vectors(caller) ? truth | HWCAP_SVE : truth;
}

// ---- The vector length --------------------------------------------------------------------------

// The kernel keeps it for each thread and hands it on to new ones. Here all have the same.
std::atomic<bool> inherits;

int vector_length_and_flags() {
    return static_cast<int>(vector_bytes | (inherits ? PR_SVE_VL_INHERIT : 0));
}

// A request for any length that the architecture may ever have is granted with the one that there is. There
// is no other for the program to have after execve either.
int set_vector_length(unsigned long request) {
    constexpr unsigned long unit = 16, most = 512 * unit;
    const unsigned long length = request & PR_SVE_VL_LEN_MASK, flags = request & ~length;
    if (flags & ~static_cast<unsigned long>(PR_SVE_VL_INHERIT | PR_SVE_SET_VL_ONEXEC) ||
        length < unit || length > most || length % unit != 0) {
        errno = EINVAL;
        return -1;
    }
    inherits = flags & PR_SVE_VL_INHERIT;
    return vector_length_and_flags();
}

} // namespace

void platform::announce_vectors(unsigned bytes) {
    vector_bytes = bytes;
}

void platform::note_capabilities(unsigned long told) {
    capabilities = told;
}

unsigned long platform::true_auxiliary_value(unsigned long type) {
    if (type == AT_HWCAP && capabilities)
        return capabilities;
    return is_relocated() && libc_is_known() ? libc().getauxval(type) : read_auxiliary_value(type);
}

// ---- What the application calls -----------------------------------------------------------------

DR_EXPORT unsigned long getauxval(unsigned long type) noexcept {
    return auxiliary_value(type, __builtin_return_address(0));
}
// The name by which the compiler's own library asks.
extern "C" DR_EXPORT unsigned long __getauxval(unsigned long type) {
    return auxiliary_value(type, __builtin_return_address(0));
}

DR_EXPORT int prctl(int option, ...) noexcept {
    unsigned long given[4];
    std::va_list arguments;
    va_start(arguments, option);
    for (unsigned long &argument : given)
        argument = va_arg(arguments, unsigned long);
    va_end(arguments);
    if ((option == PR_SVE_GET_VL || option == PR_SVE_SET_VL) &&
        sees_vectors(__builtin_return_address(0)))
        return option == PR_SVE_GET_VL ? vector_length_and_flags() : set_vector_length(given[0]);
    return libc().prctl(option, given[0], given[1], given[2], given[3]);
}
