#pragma once

// Walks at random through a module's code as a processor could, and watches the upper bytes: those of a register are
// stale between a native write that is no place and the next write of the whole register. Nothing may read them then.

#include "sve/client/analysis/module_places.h"
#include "sve/client/analysis/native_writes.h"

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

class code_walk {
public:
    code_walk(const sve::analysis::sve_words &sve, const sve::analysis::module_image &image,
              const std::vector<sve::analysis::place> &places)
        : sve_(sve), image_(image) {
        using namespace sve::analysis;
        for (const place &p : places)
            places_[p.pc] = p.written;
        for (const auto &text : image.texts())
            for (size_t i = 0; i < text.words.size(); i++)
                if (const auto read = literal_of(text.words[i]))
                    for (unsigned k = 0; k < read->words; k++)
                        data_.insert(text.start +
                                     4 * (i + k + static_cast<uintptr_t>(int64_t{read->distance})));
    }

    // From the entry of the function at `pc` on. `choose(n)` gives numbers below n. Returns where stale bytes are read,
    // 0 if nowhere.
    template <class Choose>
    uintptr_t run(uintptr_t pc, Choose &&choose) {
        using namespace sve::analysis;
        uint32_t stale = 0;
        uint32_t own =
            0; // registers that this function, or one that it has called, has written natively
        struct frame {
            uintptr_t return_to;
            uint32_t own;
        };
        std::vector<frame> frames;
        const auto entered = image_.function_at(pc);
        // Anybody may have called a function with SVE, and read its results.
        const bool result_is_read = entered && has_sve(*entered);
        for (unsigned step = 0; step < 400; step++) {
            const auto function = image_.function_at(pc);
            if (!function || data_.contains(pc))
                return 0;
            const bool sve_here = has_sve(*function);
            const auto &text = *image_.text_at(pc);
            const uint32_t word = text.words[(pc - text.start) / 4];
            if (sve::bits(word, 28, 25) == 0b0010) {
                const auto *use = sve_.find(word);
                if (!use)
                    return 0;
                if (use->reads(word) & stale)
                    return pc;
                stale &= ~use->writes(word);
            } else if (places_.contains(pc)) {
                stale &= ~native_writes(word);
            } else {
                stale |= native_writes(word);
                own |= native_writes(word);
            }
            const auto [kind, distance] = control_of(word);
            const uintptr_t there = pc + static_cast<uintptr_t>(int64_t{distance} * 4);
            const bool handed_on = stale & own & passed_registers;
            switch (kind) {
            case flow::next:
                pc += 4;
                break;
            case flow::branch:
                if (choose(2)) {
                    if (there < function->start || there >= function->end)
                        own = 0;
                    pc = there;
                } else {
                    pc += 4;
                }
                break;
            case flow::jump:
                if (there < function->start || there >= function->end)
                    own = 0;
                pc = there;
                break;
            case flow::call:
                if (image_.function_at(there) && frames.size() < 8) {
                    frames.push_back({pc + 4, own});
                    own = 0;
                    pc = there;
                } else {
                    if (sve_here && handed_on && !image_.function_at(there))
                        return pc;
                    pc += 4;
                }
                break;
            case flow::indirect_call:
                if (sve_here && handed_on)
                    return pc;
                pc += 4;
                break;
            case flow::function_return:
                if (frames.empty())
                    return result_is_read && stale & passed_registers ? pc : 0;
                pc = frames.back().return_to;
                own |= frames.back().own;
                frames.pop_back();
                break;
            case flow::indirect_jump:
                return sve_here && handed_on ? pc : 0;
            case flow::stop:
                return 0;
            }
        }
        return 0;
    }

private:
    bool has_sve(const sve::analysis::function &function) {
        const auto known = has_sve_.find(function.start);
        if (known != has_sve_.end())
            return known->second;
        const auto &text = *image_.text_at(function.start);
        sve::analysis::code_stretch stretch(sve_);
        load_function(stretch, function,
                      text.words.subspan((function.start - text.start) / 4,
                                         (function.end - function.start) / 4));
        return has_sve_[function.start] = stretch.has_sve();
    }

    const sve::analysis::sve_words &sve_;
    const sve::analysis::module_image &image_;
    std::map<uintptr_t, uint32_t> places_;
    std::set<uintptr_t> data_;
    std::map<uintptr_t, bool> has_sve_;
};
