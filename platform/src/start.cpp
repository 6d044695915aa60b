// The platform's way into a process, and what it says of itself to clients. The library is
// preloaded; its constructor runs before any code of the main module but what other libraries'
// constructors call there. It loads the client and calls dr_client_main.
//
// What the launcher hands over in the environment, taken out again here unless SVERUN_FOLLOW is there: then
// the programs that this one becomes or starts are emulated too.
//     LD_PRELOAD             this library, before what the user had there
//     SVERUN_CLIENT          the client library; without it the one beside this library
//     SVERUN_CLIENT_ARGS     words for the client, each ended by a newline
//     SVERUN_LIBRARIES       set: SVE is emulated in the program's libraries, too
//     SVERUN_REWRITE_AFTER   so many traps of a block, which is rewritten then; 0: never; without it 8
//     SVERUN_REPORT          set: what the platform has done is told at the end
//     SVERUN_FOLLOW          set: all of this stays in the environment

#include "platform/src/start.h"
#include "platform/include/dr_api.h"
#include "platform/src/features.h"
#include "platform/src/libc_functions.h"
#include "platform/src/loading.h"
#include "platform/src/message.h"
#include "platform/src/modules.h"
#include "platform/src/process.h"
#include "platform/src/signals.h"
#include "platform/src/thread.h"
#include "platform/src/trapped_code.h"

#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <iterator>
#include <link.h>
#include <sys/auxv.h>
#include <unistd.h>

using namespace platform;

namespace {

// This library, as the loader knows it. (dladdr would look for the name of an address, too.)
extern "C" __attribute__((visibility("hidden"))) ElfW(Dyn) _DYNAMIC[];
const link_map &own_library() {
    const link_map *library = _r_debug.r_map;
    while (library && library->l_ld != _DYNAMIC)
        library = library->l_next;
    if (!library)
        refuse(127, "can't find the platform library's own path");
    return *library;
}

// The client library that lies beside this one.
const char *client_beside(const char *own) {
    constexpr const char *name = "libsve_stats_" SVE_VECTOR_BITS_TEXT ".so";
    static char path[PATH_MAX];
    const char *slash = std::strrchr(own, '/');
    snprintf(path, sizeof path, "%.*s%s", slash ? static_cast<int>(slash + 1 - own) : 0, own, name);
    return path;
}

// Takes a variable out of the environment, in place: the heap may be the application's. Returns its
// value, which stays valid, or null. With `keep` it stays.
char *take_variable(const char *name, bool keep) {
    const size_t length = std::strlen(name);
    for (char **variable = environ; variable && *variable; variable++)
        if (std::strncmp(*variable, name, length) == 0 && (*variable)[length] == '=') {
            char *value = *variable + length + 1;
            if (keep)
                return value;
            do
                variable[0] = variable[1];
            while (*++variable);
            return value;
        }
    return nullptr;
}
char *find_variable(const char *name) {
    return take_variable(name, true);
}

// Takes this library out of LD_PRELOAD, and the variable if nothing else is in it.
void clean_preload(const char *own) {
    char *value = find_variable("LD_PRELOAD");
    const size_t length = std::strlen(own);
    if (!value || std::strncmp(value, own, length) != 0)
        return;
    if (value[length] == '\0')
        take_variable("LD_PRELOAD", false);
    else if (value[length] == ':' || value[length] == ' ')
        std::memmove(value, value + length + 1, std::strlen(value + length + 1) + 1);
}

struct client_start {
    void (*main)(client_id_t, int, const char *[]);
    int argc;
    const char *argv[64];
};

// Splits the words for the client into its arguments, behind its path. They are copied: programs that
// follow get them as they are.
void split_arguments(client_start &client, const char *given) {
    static char copy[16384]; // some paths
    const size_t length = given ? std::strlen(given) : 0;
    if (length >= sizeof copy)
        refuse(125, "the words for the client library have %zu bytes, and there is room for %zu",
               length, sizeof copy - 1);
    std::memcpy(copy, given ? given : "", length);
    for (char *words = copy; *words;) {
        char *end = std::strchr(words, '\n');
        if (!end)
            break;
        if (client.argc + 1 == std::ssize(client.argv))
            refuse(125, "too many words for the client library: there is room for %td",
                   std::ssize(client.argv) - 1);
        *end = '\0';
        client.argv[client.argc++] = words;
        words = end + 1;
    }
}

template <class Symbol>
Symbol *find_in_client(void *library, const char *path, const char *name) {
    auto *symbol = reinterpret_cast<Symbol *>(dlsym(library, name));
    if (!symbol)
        refuse(127, "%s is no client library: it has no %s", path, name);
    return symbol;
}

// Loads the client and calls its entry. No signal of the program's comes in between, and nothing of
// the program is called.
void load_client(const char *client_path, const char *words) {
    const signals_blocked_but_own blocked;
    const heap_diverted diverted;

    // Local: what the client exports is not the application's to find. On the platform stack: the
    // client's static initialisers are the client.
    void *library = nullptr;
    run_on_platform_stack([&] { library = dlopen(client_path, RTLD_NOW | RTLD_LOCAL); });
    if (!library)
        refuse(127, "can't load the client library: %s", dlerror());
    const int version = *find_in_client<int>(library, client_path, "_USES_DR_VERSION_");
    if (version != 602)
        refuse(127, "%s is built for interface version %d, and this platform has 602", client_path,
               version);
    client_start client;
    client.main = find_in_client<decltype(dr_client_main)>(library, client_path, "dr_client_main");
    client.argc = 1;
    client.argv[0] = client_path;
    split_arguments(client, words);
    note_own_module(static_cast<const link_map *>(library)->l_addr); // dlopen's handles are such

    run_on_platform_stack([&client] {
        client.main(0, client.argc, client.argv);
        need_thread_state();
    });
    // Beside the interface: a client of any file has it right, which the launcher can't know.
    if (const void *bytes = dlsym(library, "client_vector_bytes"))
        announce_vectors(*static_cast<const unsigned *>(bytes));
}

} // namespace

static bool started;

void platform::start_platform_for_libraries() {
    if (!started && find_variable("SVERUN_LIBRARIES"))
        start_platform();
}

void platform::start_platform() {
    if (started)
        return;
    started = true;
    libc(); // the C library's own functions, getauxval among them
    if (true_auxiliary_value(AT_HWCAP) & HWCAP_SVE)
        refuse(126, "this processor has SVE: run the program directly");

    const link_map &own = own_library();
    const bool follow = find_variable("SVERUN_FOLLOW");
    const char *client_path = take_variable("SVERUN_CLIENT", follow);
    if (!client_path)
        client_path = client_beside(own.l_name);
    const char *words = take_variable("SVERUN_CLIENT_ARGS", follow);
    if (take_variable("SVERUN_LIBRARIES", follow))
        emulate_libraries();
    if (const char *traps = take_variable("SVERUN_REWRITE_AFTER", follow))
        rewrite_after(static_cast<unsigned>(std::atoi(traps)));
    if (take_variable("SVERUN_REPORT", follow))
        set_report();
    if (!follow)
        clean_preload(own.l_name);

    find_main_module();
    note_own_module(own.l_addr);
    start_thread_support();
    start_signal_support();

    load_client(client_path, words);
    start_process_support();
}

[[gnu::constructor]] static void start(int argc, char **argv, char **environment) {
    start_platform();
    run_preinit_functions(argc, argv, environment);
}

// ---- What clients see --------------------------------------------------------------------------

file_t our_stderr = STDERR_FILENO;

bool dr_set_client_name(const char *, const char *) {
    return true;
}

void dr_log(void *, uint, uint, const char *, ...) {}

ssize_t dr_fprintf(file_t file, const char *format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const long written = write_formatted(file, format, arguments);
    va_end(arguments);
    return written;
}

void dr_abort() {
    end_process(255);
}
