// What the analysis needs of the program, and what becomes of its findings. When a block of a module comes for the
// first time, all places of the module are asked for. Code without tables of functions, what the tables don't
// lead to, and code that the program made, is looked at when a block there comes, around that.
#include "sve/client/upper_bytes.h"

#include "platform/include/dr_extensions.h"
#include "sve/client/analysis/module_places.h"
#include "sve/client/analysis/native_writes.h"
#include "sve/client/client.h"
#include "sve/core/cpu_state.h"
#include "sve/core/short_mutex.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using namespace sve::analysis;

namespace {

struct known_module {
    uintptr_t start, end;
    std::string path;
    module_places places;
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
    const auto start = reinterpret_cast<uintptr_t>(data->start);
    const auto end = reinterpret_cast<uintptr_t>(data->end);
    const std::string_view path = data->full_path ? data->full_path : "";
    const auto is_gone = [&](const known_module &known) {
        const bool overlaps = known.start < end && start < known.end;
        const std::vector<place> &replaced = known.places.native;
        return overlaps && !(known.start == start && known.path == path &&
                             (replaced.empty() || dr_is_translated(pointer(replaced[0].pc))));
    };
    std::erase_if(modules_, is_gone);
    const auto holds_pc = [pc](const known_module &known) {
        return pc >= known.start && pc < known.end;
    };
    auto module = std::find_if(modules_.begin(), modules_.end(), holds_pc);
    if (module == modules_.end()) {
        is_new = true;
        modules_.push_back(
            {start, end, std::string(path), find_places(sve_, image_of(start, end))});
        module = std::prev(modules_.end());
    }
    dr_free_module_data(data);
    return &*module;
}

// The program's own words.
void program_places::load_words(uintptr_t start, uintptr_t end) {
    words_.resize((end - start) / 4);
    dr_application_words(pointer(start), words_.data(), words_.size());
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
    constexpr uintptr_t narrow = 128, wide = 16 << 10; // to each side
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
        wanted = module->places.native;
    else if (module &&
             (stretch_.is_reached(pc) ||
              std::binary_search(module->places.sve.begin(), module->places.sve.end(), pc)))
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
            add(module->places.native, around);
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
            const place *found = find_place(module.places.native, pc);
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
