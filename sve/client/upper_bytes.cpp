// What the analysis needs of the program, and what becomes of its findings. When a block of a module comes for the
// first time, all places of the module are asked for. Code without tables of functions, what the tables don't
// lead to, and code that the program made, is looked at when a block there comes, around that.
#include "sve/client/upper_bytes.h"

#include "sve/client/analysis/module_places.h"
#include "sve/client/analysis/native_writes.h"
#include "sve/client/client.h"
#include "sve/client/dynamorio_call.h"
#include "sve/core/cpu_state.h"
#include "sve/core/short_mutex.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

using namespace sve::analysis;

namespace {

struct known_module {
    uintptr_t start, end;
    std::string path;
    std::vector<place> places;
};

// What is known of the program so far.
class program_places {
public:
    void find(void *drcontext, uintptr_t pc);
    uint32_t written_at(uintptr_t pc) const;

private:
    known_module *know_module(uintptr_t pc, bool &is_new);
    void load_words(uintptr_t start, uintptr_t end);
    bool load_function_at(uintptr_t pc, const std::optional<module_image> &image);
    void load_around(uintptr_t pc, const std::optional<module_image> &image);
    bool ask_for(const std::vector<place> &places);

    const sve_words sve_;
    code_stretch stretch_{sve_}; // that was looked at last
    std::vector<known_module> modules_;
    std::vector<place> elsewhere_; // in code of no module, around the block that came last
    std::vector<uint32_t> words_;
    std::vector<app_pc> asked_for_;
};

void add(std::vector<place> &places, const std::vector<place> &added) {
    const auto by_address = [](const place &a, const place &b) { return a.pc < b.pc; };
    places.insert(places.end(), added.begin(), added.end());
    std::sort(places.begin(), places.end(), by_address);
    places.erase(std::unique(places.begin(), places.end()), places.end());
}

const place *find_place(const std::vector<place> &places, uintptr_t pc) {
    const auto found = std::lower_bound(places.begin(), places.end(), pc,
                                        [](const place &p, uintptr_t at) { return p.pc < at; });
    return found != places.end() && found->pc == pc ? &*found : nullptr;
}

app_pc pointer(uintptr_t pc) {
    return reinterpret_cast<app_pc>(pc);
}

module_image image_of(uintptr_t start, uintptr_t end) {
    return {start, end, reinterpret_cast<const std::byte *>(start)};
}

// The module that holds `pc`, looked at if it is a new one; null if none does. A library may have taken the place of
// another one, or of itself: then what was rewritten there is gone.
known_module *program_places::know_module(uintptr_t pc, bool &is_new) {
    is_new = false;
    module_data_t *data = dr_lookup_code_module(pointer(pc));
    if (!data)
        return nullptr;
    known_module module = {reinterpret_cast<uintptr_t>(data->start),
                           reinterpret_cast<uintptr_t>(data->end),
                           data->full_path ? data->full_path : "",
                           {}};
    dr_free_module_data(data);
    const auto is_gone = [&](const known_module &known) {
        const bool overlaps = known.start < module.end && module.start < known.end;
        const bool same = known.start == module.start && known.path == module.path;
        const bool is_in_place =
            known.places.empty() || dr_is_translated(pointer(known.places[0].pc));
        return overlaps && !(same && is_in_place);
    };
    std::erase_if(modules_, is_gone);
    for (known_module &known : modules_)
        if (pc >= known.start && pc < known.end)
            return &known;
    module.places = find_places(sve_, image_of(module.start, module.end));
    is_new = true;
    modules_.push_back(std::move(module));
    return &modules_.back();
}

// The program's own words.
void program_places::load_words(uintptr_t start, uintptr_t end) {
    words_.resize((end - start) / 4);
    for (size_t i = 0; i < words_.size(); i++)
        words_[i] = dr_application_word(pointer(start + 4 * i));
}

// Loads the function that `pc` lies in and follows it. False if none does.
bool program_places::load_function_at(uintptr_t pc, const std::optional<module_image> &image) {
    const auto function = image ? image->function_at(pc) : std::nullopt;
    if (!function)
        return false;
    load_words(function->start, function->end);
    load_function(stretch_, *function, words_);
    return true;
}

// Loads what is around an instruction that lies in no function, and follows it from there: as much as it takes, up to
// a limit.
void program_places::load_around(uintptr_t pc, const std::optional<module_image> &image) {
    constexpr uintptr_t narrow = 1 << 10, wide = 16 << 10; // to each side
    uintptr_t low = 0, high = ~uintptr_t{0};
    if (const auto gap = image ? image->gap_at(pc) : std::nullopt) {
        low = gap->start;
        high = gap->end;
    }
    byte *mapping;
    size_t size;
    if (dr_query_memory(pointer(pc), &mapping, &size, nullptr)) {
        low = std::max(low, reinterpret_cast<uintptr_t>(mapping));
        high = std::min(high, reinterpret_cast<uintptr_t>(mapping) + size);
    } else {
        low = pc;
        high = pc + 4;
    }
    for (uintptr_t window = narrow; window <= wide; window *= 4) {
        const uintptr_t start = pc - std::min(window, pc - low);
        const uintptr_t end = pc + std::min(window, high - pc);
        load_words(start, end);
        stretch_.load(start, words_);
        stretch_.enter_around(pc);
        if ((start == low && end == high) || !stretch_.goes_beyond(wide))
            break;
    }
    stretch_.find_live({});
}

// Returns whether code may have run that no event got.
bool program_places::ask_for(const std::vector<place> &places) {
    asked_for_.clear();
    for (const place &p : places)
        asked_for_.push_back(pointer(p.pc));
    return dr_translate_also(asked_for_.data(), asked_for_.size());
}

void clear_upper(void *drcontext, uint32_t registers) {
    auto *state = static_cast<cpu_state *>(drmgr_get_tls_field(drcontext, sve::client::tls_idx));
    for (unsigned n = 0; state && n < 32; n++)
        if (registers >> n & 1)
            std::memset(state->z[n] + sve_chunk_bytes, 0, sve_vector_bytes - sve_chunk_bytes);
}

void program_places::find(void *drcontext, uintptr_t pc) {
    bool is_new;
    known_module *module = know_module(pc, is_new);
    std::vector<place> wanted;
    if (is_new)
        wanted = module->places;
    else if (module && stretch_.is_reached(pc))
        return;

    std::optional<module_image> image;
    if (module)
        image.emplace(image_of(module->start, module->end));
    bool is_known = false;
    if (load_function_at(pc, image)) {
        is_known = stretch_.is_reached(pc);
        if (!is_known) {
            stretch_.enter_around(pc);
            stretch_.find_live({});
        }
    } else {
        load_around(pc, image);
    }
    if (!is_known) {
        std::vector<place> around;
        stretch_.add_places(around);
        if (module)
            add(module->places, around);
        else
            elsewhere_ = around;
        add(wanted, around);
    }
    if (ask_for(wanted) && (is_new || !is_known))
        clear_upper(drcontext, stretch_.written_before(pc));
}

uint32_t program_places::written_at(uintptr_t pc) const {
    for (const known_module &module : modules_)
        if (pc >= module.start && pc < module.end) {
            const place *found = find_place(module.places, pc);
            return found ? found->written : 0;
        }
    const place *found = find_place(elsewhere_, pc);
    return found ? found->written : 0;
}

// Made when first needed, and never destroyed: a thread may still be in here when the process ends.
program_places &places() {
    static program_places &program = *new program_places;
    return program;
}
sve::short_mutex places_mutex; // where platforms raise several block events at once

} // namespace

void sve::client::find_native_writes(void *drcontext, app_pc pc) {
    const std::lock_guard lock(places_mutex);
    places().find(drcontext, reinterpret_cast<uintptr_t>(pc));
}

uint32_t sve::client::native_write_at(app_pc pc, uint32_t word) {
    const std::lock_guard lock(places_mutex);
    const uint32_t written = places().written_at(reinterpret_cast<uintptr_t>(pc));
    return written && native_writes(word) == written ? written : 0;
}
