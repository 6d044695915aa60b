// The test client replaces those native instructions that the program names (native_writes.h), with the
// next block that it gets.
#include "platform/include/dr_extensions.h"
#include "sve/client/upper_bytes.h"
#include "sve/core/sve_utils.h"
#include "tests/platform/native_writes.h"

#include <iterator>

namespace {

const native_write *named;
size_t named_count;
bool named_anew;

aarch64_decode_rc name(cpu_state *state, unsigned int) {
    named = reinterpret_cast<const native_write *>(state->x[0]);
    named_count = state->x[1];
    named_anew = true;
    return AARCH64_DECODE_OK;
}

uint64_t start_of(module_data_t *module) {
    const auto start = module ? reinterpret_cast<uint64_t>(module->start) : 0;
    if (module)
        dr_free_module_data(module);
    return start;
}

aarch64_decode_rc look_up(cpu_state *state, unsigned int) {
    auto *pc = reinterpret_cast<byte *>(state->x[0]);
    state->x[0] = start_of(dr_lookup_code_module(pc));
    state->x[1] = start_of(dr_lookup_module(pc));
    return AARCH64_DECODE_OK;
}

[[maybe_unused]] const bool added = [] {
    is_sve(0); // the first look-up makes the maps
    decode_map__31_0.emplace(0x25fffffd, name);
    decode_map__31_0.emplace(0x25fffffc, look_up);
    return true;
}();

} // namespace

void sve::client::find_native_writes(void *, app_pc) {
    if (!named_anew)
        return;
    static app_pc pcs[100'000];
    if (named_count > std::size(pcs))
        dr_abort();
    named_anew = false;
    for (size_t i = 0; i < named_count; i++)
        pcs[i] = reinterpret_cast<app_pc>(const_cast<uint32_t *>(named[i].pc));
    dr_translate_also(pcs, named_count);
}

uint32_t sve::client::native_write_at(app_pc pc, uint32_t word) {
    uint application_word;
    dr_application_words(pc, &application_word, 1);
    if (word != application_word) // of whatever stands there
        dr_abort();
    size_t first = 0, behind = named_count;
    while (first < behind) {
        const size_t middle = (first + behind) / 2;
        if (reinterpret_cast<app_pc>(const_cast<uint32_t *>(named[middle].pc)) < pc)
            first = middle + 1;
        else
            behind = middle;
    }
    const bool found =
        first < named_count && named[first].pc == reinterpret_cast<const uint32_t *>(pc);
    return found ? named[first].written : 0;
}
