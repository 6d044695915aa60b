// Coverage-guided fuzzing of the analysis of code: modules with any code and damaged headers and tables. Under the
// sanitizers nothing may be read outside the module; and whatever the tables say, only native writes of vector
// registers may be rewritten, that control can come to and that no load reads.

#include "sve/client/analysis/native_writes.h"
#include "tests/unit/code_words.h"
#include "tests/unit/module_builder.h"

#include "sve/client/analysis/module_places.h"

#include <cstdio>
#include <cstdlib>
#include <fuzzer/FuzzedDataProvider.h>
#include <map>
#include <memory>
#include <set>

using namespace sve::analysis;

namespace {

const sve_words &known_words() {
    static const sve_words instance;
    return instance;
}

void check(bool good, const char *what, uintptr_t pc) {
    if (good)
        return;
    fprintf(stderr, "%s at 0x%lx\n", what, static_cast<unsigned long>(pc));
    abort();
}

uint32_t draw_word(FuzzedDataProvider &data, int to_function, int inside) {
    using namespace words;
    const unsigned t = data.ConsumeIntegralInRange<unsigned>(0, 31);
    switch (data.ConsumeIntegralInRange<unsigned>(0, 19)) {
    case 0:
    case 1:
        return write_v(t);
    case 2:
        return load_4_v(t);
    case 3:
    case 4:
        return read_z(t);
    case 5:
        return replace_z(t);
    case 6:
        return add_z(t, data.ConsumeIntegralInRange<unsigned>(0, 31));
    case 7:
        return cbz_x0(inside);
    case 8:
        return b(inside);
    case 9:
        return b(to_function);
    case 10:
        return bl(to_function);
    case 11:
        return bl(inside);
    case 12:
        return blr_x1;
    case 13:
        return br_x1;
    case 14:
        return load_literal(t, inside);
    case 15:
        return adr_x1(inside);
    case 16:
        return add_x1_entry;
    case 17:
        return ret;
    default:
        return data.ConsumeIntegral<uint32_t>();
    }
}

// What a function's code leads to, found in the plainest way.
struct plain_reach {
    std::set<uintptr_t> code;
    bool leads_anywhere = false; // has an indirect jump

    plain_reach(const module_image::text &text, const function &f,
                const std::set<uintptr_t> &entries) {
        std::vector<uintptr_t> next(entries.begin(), entries.end());
        while (!next.empty()) {
            const uintptr_t pc = next.back();
            next.pop_back();
            if (pc < f.start || pc >= f.end || !code.insert(pc).second)
                continue;
            const uint32_t word = text.words[(pc - text.start) / 4];
            const auto [kind, distance] = control_of(word);
            leads_anywhere |= kind == flow::indirect_jump;
            if (kind == flow::branch || kind == flow::jump)
                next.push_back(pc + static_cast<uintptr_t>(int64_t{distance} * 4));
            if (falls_through(kind))
                next.push_back(pc + 4);
        }
    }
};

// What is read by loads that the function's first instructions are, before control can go several ways.
std::set<uintptr_t> certain_data(const module_image::text &text, const function &f) {
    std::set<uintptr_t> data;
    for (uintptr_t pc = f.start; pc < f.end; pc += 4) {
        const uint32_t word = text.words[(pc - text.start) / 4];
        if (const auto read = literal_of(word))
            for (unsigned k = 0; k < read->words; k++)
                data.insert(pc + 4 * k + static_cast<uintptr_t>(int64_t{read->distance} * 4));
        if (control_of(word).kind != flow::next || data.contains(pc + 4))
            break;
    }
    return data;
}

void check_places(const module_image &image) {
    // Whatever looks like a branch may lead into a function.
    std::set<uintptr_t> targets;
    for (const auto &text : image.texts())
        for (size_t i = 0; i < text.words.size(); i++)
            if (const auto [kind, distance] = control_of(text.words[i]); distance)
                targets.insert(text.start + 4 * i + static_cast<uintptr_t>(int64_t{distance} * 4));

    std::map<uintptr_t, plain_reach> reach;
    uintptr_t before = 0;
    for (const place &p : find_places(known_words(), image).native) {
        check(p.pc > before && p.pc % 4 == 0, "a place out of order", p.pc);
        before = p.pc;
        const module_image::text *text = image.text_at(p.pc);
        check(text, "a place outside of code", p.pc);
        check(p.written && native_writes(text->words[(p.pc - text->start) / 4]) == p.written,
              "a place that is no native write", p.pc);
        const auto f = image.function_at(p.pc);
        check(f.has_value(), "a place in no function", p.pc);
        auto known = reach.find(f->start);
        if (known == reach.end()) {
            std::set<uintptr_t> entries(targets.lower_bound(f->start), targets.lower_bound(f->end));
            entries.insert(f->start);
            known = reach.emplace(f->start, plain_reach(*text, *f, entries)).first;
        }
        check(known->second.code.contains(p.pc) || known->second.leads_anywhere || f->has_handlers,
              "a place that nothing leads to", p.pc);
        // Data is what loads read that control certainly comes to, but for what is a way for control itself.
        check(!certain_data(*text, *f).contains(p.pc), "a place that is data", p.pc);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    FuzzedDataProvider data(bytes, size);
    const auto module = std::make_unique<module_builder>();
    const int count = data.ConsumeIntegralInRange(1, 5);
    constexpr int longest = 24;
    for (int f = 0; f < count; f++) {
        std::vector<uint32_t> code(longest);
        for (int i = 0; i < longest; i++)
            code[static_cast<size_t>(i)] =
                draw_word(data, (data.ConsumeIntegralInRange(0, count - 1) - f) * longest - i,
                          data.ConsumeIntegralInRange(-2, longest) - i);
        module->add(code, {.has_handlers = data.ConsumeBool(), .in_table = !data.ConsumeBool()});
    }
    for (unsigned damages = data.ConsumeIntegralInRange(0, 6); damages > 0; damages--)
        module->damage(data.ConsumeIntegral<uint32_t>(), data.ConsumeIntegral<uint8_t>());
    check_places(module->image());

    // Around any word, of what may be no code at all.
    const module_image image = module->image();
    for (const auto &text : image.texts()) {
        code_stretch stretch(known_words());
        stretch.load(text.start, text.words.first(std::min<size_t>(text.words.size(), 1200)));
        const uintptr_t pc = module->start_of(0) + 4 * data.ConsumeIntegralInRange(0u, 120u);
        stretch.enter_around(pc);
        stretch.find_live({});
        std::vector<place> places;
        stretch.add_places(places);
        for (const place &p : places)
            check(native_writes(text.words[(p.pc - text.start) / 4]) == p.written,
                  "a place around that is no native write", p.pc);
        stretch.written_before(pc);
    }
    return 0;
}
