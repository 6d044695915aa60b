#include "platform/src/modules.h"

#include "platform/include/dr_extensions.h"
#include "platform/src/code_map.h"
#include "platform/src/features.h"
#include "platform/src/mappings.h"
#include "platform/src/memory.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstring>
#include <elf.h>
#include <iterator>
#include <link.h>
#include <sys/auxv.h>
#include <sys/mman.h>
#include <unistd.h>

namespace platform {

// The main module, found once: it is never unloaded.
static module_record main_record;
static char main_path[PATH_MAX];

// The segments that a module's file asks to be loaded, as far as its first page tells.
template <class F>
static void for_each_segment(uintptr_t start, F &&visit) {
    const auto *header = reinterpret_cast<const Elf64_Ehdr *>(start);
    const auto *segments = reinterpret_cast<const Elf64_Phdr *>(start + header->e_phoff);
    constexpr size_t page = 4096;
    if (std::memcmp(header->e_ident, ELFMAG, SELFMAG) != 0 ||
        header->e_phoff + header->e_phnum * sizeof *segments > page)
        return;
    for (size_t i = 0; i < header->e_phnum; i++)
        if (segments[i].p_type == PT_LOAD)
            visit(segments[i]);
}

// What the module's file gives to an address is this much lower.
static uintptr_t bias_of(uintptr_t start) {
    uintptr_t bias = start;
    bool found = false;
    for_each_segment(start, [&](const Elf64_Phdr &segment) {
        if (!found)
            bias = start - (segment.p_vaddr - segment.p_offset);
        found = true;
    });
    return bias;
}

static uintptr_t end_of_image(uintptr_t start) {
    uintptr_t end = 0;
    const uintptr_t bias = bias_of(start);
    for_each_segment(start, [&](const Elf64_Phdr &segment) {
        end = std::max(end, bias + segment.p_vaddr + segment.p_memsz);
    });
    return end;
}

// The file mappings around an address that were loaded as one module. A module starts where the
// start of an ELF file is mapped; the same file may be loaded twice. Where a module is small, the
// page at the start of its file may be mapped for several segments.
static bool find_by_mappings(uintptr_t address, module_record &record, char *path) {
    mapping candidate = {};  // start of the file that was mapped last
    uintptr_t image_end = 0; // of it, if it is mapped so
    bool found = false;
    for_each_mapping([&](const mapping &m) {
        const bool same_file =
            candidate.inode && m.inode == candidate.inode && m.device == candidate.device;
        // Only code is looked at: what else a program maps may have become shorter.
        if (same_file && m.offset == 0 && (m.protection & PROT_EXEC) &&
            (candidate.protection & (PROT_READ | PROT_EXEC)) == PROT_READ)
            image_end = end_of_image(candidate.start);
        const bool same = same_file && (m.offset != 0 || m.start < image_end);
        if (found && !same && m.inode != 0)
            return false;
        if (m.inode != 0 && m.offset == 0 && !same) {
            candidate = m;
            image_end = 0;
            record.start = m.start;
        }
        if (m.inode != 0 && (same || m.offset == 0))
            record.end = m.end;
        if (m.contains(address)) {
            if (!same_file && m.start != candidate.start)
                return false;
            found = true;
            std::strncpy(path, m.path, PATH_MAX - 1);
        }
        return true;
    });
    if (!found || std::memcmp(reinterpret_cast<const void *>(record.start), ELFMAG, SELFMAG) != 0)
        return false;
    record.path = path;
    return true;
}

// The executable, where its program headers lie behind its ELF header and the kernel has loaded it: what a user
// gives to the loader as an argument is in the process's map only.
static bool find_by_headers(uintptr_t headers, module_record &record, char *path) {
    const uintptr_t start = headers - sizeof(Elf64_Ehdr), page = true_auxiliary_value(AT_PAGESZ);
    const bool loaded_by_kernel = true_auxiliary_value(AT_BASE);
    if (!loaded_by_kernel || (start & (page - 1)) != 0 ||
        std::memcmp(reinterpret_cast<const void *>(start), ELFMAG, SELFMAG) != 0)
        return false;
    const ssize_t length = readlink("/proc/self/exe", path, PATH_MAX - 1);
    if (length <= 0 || length == PATH_MAX - 1)
        return false;
    path[length] = '\0';
    record = {start, start, path};
    const uintptr_t bias = _r_debug.r_map->l_addr;
    for_each_segment(start, [&](const Elf64_Phdr &segment) {
        const uintptr_t end = bias + segment.p_vaddr + segment.p_filesz;
        if (segment.p_filesz != 0)
            record.end = std::max(record.end, (end + page - 1) & ~(page - 1));
    });
    return record.end != start;
}

static bool main_is_guarded;

// Whether the executable's notes ask for branch target identification.
static bool asks_for_guard() {
    constexpr unsigned feature_1_and = 0xc0000000, bti = 1; // of the AArch64 processor's ELF
    const auto *segments = reinterpret_cast<const Elf64_Phdr *>(true_auxiliary_value(AT_PHDR));
    const size_t count = true_auxiliary_value(AT_PHNUM);
    uintptr_t bias = 0;
    for (size_t i = 0; i < count; i++)
        if (segments[i].p_type == PT_PHDR)
            bias = reinterpret_cast<uintptr_t>(segments) - segments[i].p_vaddr;
    for (size_t i = 0; i < count; i++) {
        if (segments[i].p_type != PT_GNU_PROPERTY)
            continue;
        // A note's header and its name, "GNU"; then properties of type, size and value.
        const auto *at = reinterpret_cast<const unsigned *>(bias + segments[i].p_vaddr);
        const auto *end = at + segments[i].p_memsz / sizeof *at;
        for (at += 4; at + 2 < end; at += 2 + (at[1] + 7) / 8 * 2)
            if (at[0] == feature_1_and)
                return at[2] & bti;
    }
    return false;
}

void find_main_module() {
    constexpr unsigned long processor_guards = 1 << 17; // in AT_HWCAP2
    const uintptr_t headers = true_auxiliary_value(AT_PHDR);
    if (!find_by_headers(headers, main_record, main_path) &&
        !find_by_mappings(headers, main_record, main_path))
        main_record = {};
    main_is_guarded = (true_auxiliary_value(AT_HWCAP2) & processor_guards) && asks_for_guard();
}

static bool is_in_main_module(uintptr_t address) {
    return address >= main_record.start && address < main_record.end;
}

bool is_guarded(uintptr_t address) {
    return main_is_guarded && is_in_main_module(address);
}

bool find_module(uintptr_t address, module_record &record, char *path) {
    if (is_in_main_module(address)) {
        record = main_record;
        return true;
    }
    return find_by_mappings(address, record, path);
}

const module_record *main_module() {
    return main_record.start ? &main_record : nullptr;
}

uintptr_t address_in_file(const module_record &module, uintptr_t address) {
    return address - bias_of(module.start);
}

// ---- Libraries ----------------------------------------------------------------------------------

static bool libraries_emulated;

// Where the platform and the client start.
static uintptr_t own_modules[2];

void emulate_libraries() {
    libraries_emulated = true;
}

bool libraries_are_emulated() {
    return libraries_emulated;
}

void note_own_module(uintptr_t start) {
    *std::find(std::begin(own_modules), std::end(own_modules) - 1, 0) = start;
}

// The libraries of the C library, which the platform and the client stand on. Not the one of vector
// functions: those for SVE consist of it.
static bool is_of_c_library(const char *path) {
    static constexpr const char *sonames[] = {
        "ld-linux-aarch64.so.1",
        "libBrokenLocale.so.1",
        "libanl.so.1",
        "libc.so.6",
        "libc_malloc_debug.so.0",
        "libdl.so.2",
        "libm.so.6",
        "libmemusage.so",
        "libnsl.so.1",
        "libnss_compat.so.2",
        "libnss_dns.so.2",
        "libnss_files.so.2",
        "libnss_hesiod.so.2",
        "libpcprofile.so",
        "libpthread.so.0",
        "libresolv.so.2",
        "librt.so.1",
        "libthread_db.so.1",
        "libutil.so.1",
    };
    const char *slash = std::strrchr(path, '/');
    const char *name = slash ? slash + 1 : path;
    // Older releases have files like libc-2.31.so behind these names.
    const size_t stem = std::strcspn(name, "-.");
    const bool has_release = name[stem] == '-' && name[stem + 1] == '2' && name[stem + 2] == '.';
    for (const char *soname : sonames)
        if (std::strcmp(name, soname) == 0 || (has_release && std::strcspn(soname, "-.") == stem &&
                                               std::strncmp(name, soname, stem) == 0))
            return true;
    return false;
}

bool is_program_library(const module_record &module) {
    return module.start != main_record.start &&
           std::find(std::begin(own_modules), std::end(own_modules), module.start) ==
               std::end(own_modules) &&
           !is_of_c_library(module.path);
}

bool is_emulated_code(uintptr_t address) {
    char path[PATH_MAX] = "";
    module_record record = {};
    return !find_module(address, record, path) || record.start == main_record.start ||
           (libraries_emulated && is_program_library(record));
}

bool is_emulated_function(uintptr_t address) {
    return libraries_emulated ? is_emulated_code(address) : is_in_main_module(address);
}

} // namespace platform

// ---- What clients see --------------------------------------------------------------------------

using namespace platform;

// The record and its path in one piece of memory.
struct module_copy {
    module_data_t data;
    char path[PATH_MAX];
};

// Most are given back at once, so nearly all of them lie here.
static constinit struct {
    std::atomic<bool> taken;
    module_copy copy;
} few_copies[4]{};

static module_copy *take_copy() {
    for (auto &[taken, copy] : few_copies)
        if (!taken.exchange(true))
            return &copy;
    return static_cast<module_copy *>(map_memory(sizeof(module_copy)));
}

static module_data_t *copy(const module_record &record) {
    module_copy *result = take_copy();
    if (!result)
        return nullptr;
    const size_t length = std::min(std::strlen(record.path), sizeof result->path - 1);
    std::memcpy(result->path, record.path, length);
    result->path[length] = '\0';
    const char *slash = std::strrchr(result->path, '/');
    const char *name = slash ? slash + 1 : result->path;
    result->data = {.start = reinterpret_cast<app_pc>(record.start),
                    .end = reinterpret_cast<app_pc>(record.end),
                    .names = {.module_name = name, .file_name = name, .inode = 0},
                    .full_path = result->path};
    return &result->data;
}

module_data_t *dr_get_main_module() {
    const module_record *record = main_module();
    return record ? copy(*record) : nullptr;
}

// The thread that handles a block: what it looks up is known, or found for the next time.
static const void *looking_up_known_code; // its area

void platform::look_up_known_code(bool known) {
    __atomic_store_n(&looking_up_known_code, known ? &dr_thread_area : nullptr, __ATOMIC_RELEASE);
}

static module_data_t *copy_one(const module_record &record, bool also_libraries) {
    const bool is_one = also_libraries || !libraries_emulated || !is_program_library(record);
    return is_one ? copy(record) : nullptr;
}

static module_data_t *look_up(const byte *pc, bool also_libraries) {
    const auto address = reinterpret_cast<uintptr_t>(pc);
    if (__atomic_load_n(&looking_up_known_code, __ATOMIC_ACQUIRE) == &dr_thread_area) {
        const code_mapping *code = find_code(address);
        return code && code->in_module ? copy_one(code->module, also_libraries) : nullptr;
    }
    char path[PATH_MAX] = "";
    module_record record = {};
    return find_module(address, record, path) ? copy_one(record, also_libraries) : nullptr;
}

// A client leaves the code of modules other than the main one alone. So libraries that are to be emulated are no
// modules to it.
module_data_t *dr_lookup_module(byte *pc) {
    return look_up(pc, false);
}
module_data_t *dr_lookup_code_module(const byte *pc) {
    return look_up(pc, true);
}

void dr_free_module_data(module_data_t *data) {
    for (auto &[taken, copy] : few_copies)
        if (data == &copy.data) {
            taken = false;
            return;
        }
    unmap_memory(data, sizeof(module_copy));
}
