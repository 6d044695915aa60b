#include "platform/src/loading.h"

#include "platform/src/features.h"
#include "platform/src/memory.h"
#include "platform/src/modules.h"
#include "platform/src/signal_actions.h"
#include "platform/src/trampolines.h"
#include "platform/src/trapped_code.h"

#include <cstdlib>
#include <cstring>
#include <iterator>
#include <link.h>
#include <sys/auxv.h>
#include <sys/ifunc.h>

namespace platform {

// ---- The program's heap -------------------------------------------------------------------------

namespace {

constexpr size_t heap_bytes = size_t{4} << 20;
char *heap, *heap_next;

// Each block has its size in front of it.
void *small_malloc(size_t size) {
    constexpr size_t alignment = 16;
    if (!heap)
        heap = heap_next = static_cast<char *>(map_memory(heap_bytes));
    if (!heap || size > heap_bytes || heap_next + alignment + size > heap + heap_bytes - alignment)
        return nullptr;
    char *block = heap_next + alignment;
    std::memcpy(block - alignment, &size, sizeof size);
    heap_next = block + (size + alignment - 1) / alignment * alignment;
    return block;
}
void *small_calloc(size_t count, size_t size) {
    return small_malloc(count * size); // mappings are zeroed, and nothing is used again
}
void *small_realloc(void *block, size_t size) {
    void *result = small_malloc(size);
    const bool own = block >= heap && block < heap + heap_bytes;
    if (result && own) {
        size_t former;
        std::memcpy(&former, static_cast<char *>(block) - 16, sizeof former);
        std::memcpy(result, block, former < size ? former : size);
    }
    return own || !block ? result : nullptr; // no memory: the size of the program's is not known
}
void small_free(void *) {}

struct {
    void *function; // the one that all modules call by its name
    void *instead;
} const functions[] = {
    {reinterpret_cast<void *>(std::malloc), reinterpret_cast<void *>(small_malloc)},
    {reinterpret_cast<void *>(std::calloc), reinterpret_cast<void *>(small_calloc)},
    {reinterpret_cast<void *>(std::realloc), reinterpret_cast<void *>(small_realloc)},
    {reinterpret_cast<void *>(std::free), reinterpret_cast<void *>(small_free)},
};

// Code near `entry` that goes to `target`. Null if none can be there.
a64::word_t *make_jump(uintptr_t entry, void *target) {
    constexpr unsigned words = 4;
    const trampoline_place place = take_trampoline(entry, trampoline::bytes_for(words, 0));
    if (!place.start || !place.near)
        return nullptr;
    a64::word_t *code = place.start->code();
    code[0] = 0x58000050; // ldr x16, .+8
    code[1] = 0xd61f0200; // br x16
    std::memcpy(&code[2], &target, sizeof target);
    __builtin___clear_cache(reinterpret_cast<char *>(code), reinterpret_cast<char *>(code + words));
    return code;
}

} // namespace

heap_diverted::heap_diverted() {
    static_assert(std::size(functions) == function_count);
    for (unsigned i = 0; i < function_count; i++) {
        diversion &d = diversions_[i];
        d.entry = reinterpret_cast<uintptr_t>(functions[i].function);
        if (!is_emulated_function(d.entry)) {
            d.entry = 0;
            continue;
        }
        const a64::word_t *jump = make_jump(d.entry, functions[i].instead);
        const auto distance = static_cast<int64_t>(reinterpret_cast<uintptr_t>(jump) - d.entry);
        if (!jump || !exchange_text(d.entry, a64::b(distance), d.word))
            d.entry = 0;
    }
}

heap_diverted::~heap_diverted() {
    for (const diversion &d : diversions_)
        if (a64::word_t ours; d.entry)
            exchange_text(d.entry, d.word, ours);
}

// ---- The first functions ------------------------------------------------------------------------

namespace {

using preinit_function = void (*)(int, char **, char **);
struct {
    const preinit_function *first;
    size_t count;
} preinit;

void nothing() {}

// The loader calls this while it relocates this library, which is after the executable has been
// mapped and before any function of it is called. From here on traps are handled. It empties the
// executable's list of functions that the loader is to call before all constructors, and keeps it
// for run_preinit_functions.
extern "C" __attribute__((used)) void (*sve_platform_early(uint64_t capabilities))() {
    capabilities &= ~_IFUNC_ARG_HWCAP; // which says that there is a second argument
    note_capabilities(capabilities);
    if (!(capabilities & HWCAP_SVE)) // else the start refuses
        take_traps();
    const link_map *program = _r_debug.r_map;
    Elf64_Dyn *size = nullptr;
    uintptr_t array = 0;
    for (Elf64_Dyn *entry = program ? program->l_ld : nullptr; entry && entry->d_tag; entry++) {
        if (entry->d_tag == DT_PREINIT_ARRAY)
            array = entry->d_un.d_ptr;
        if (entry->d_tag == DT_PREINIT_ARRAYSZ)
            size = entry;
    }
    if (array && size && size->d_un.d_val) { // the loader may call this twice
        preinit = {reinterpret_cast<const preinit_function *>(program->l_addr + array),
                   size->d_un.d_val / sizeof(preinit_function)};
        size->d_un.d_val = 0;
    }
    return nothing;
}
void early() __attribute__((ifunc("sve_platform_early"), visibility("hidden")));
void (*volatile const called_by_loader)() __attribute__((used)) = early;

} // namespace

void run_preinit_functions(int argc, char **argv, char **environment) {
    for (size_t i = 0; i < preinit.count; i++)
        preinit.first[i](argc, argv, environment);
}

} // namespace platform
