#include "tests/conformance/report.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <set>

namespace conformance {

using sve::bits;

[[gnu::format(printf, 2, 3)]] static void append(std::string &text, const char *format, ...) {
    char line[256];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    text += line;
}

// A register of cpu_state as a row of elements: lowest first, each with its highest byte first. An element
// is marked if it differs from the one in `other`.
struct shown_register {
    std::string name;
    size_t offset, bytes, element_bytes;
    bool is_predicate = false;

    const uint8_t *in(const cpu_state &state) const {
        return reinterpret_cast<const uint8_t *>(&state) + offset;
    }
    bool differs(const cpu_state &a, const cpu_state &b) const {
        return memcmp(in(a), in(b), bytes) != 0;
    }
    std::string show(const cpu_state &state, const cpu_state *other = nullptr) const {
        std::string text;
        for (size_t i = 0; i < bytes; i += element_bytes) {
            const uint8_t *element = in(state) + i;
            const bool marked = other && memcmp(element, in(*other) + i, element_bytes) != 0;
            text += marked ? " *" : " ";
            if (is_predicate)
                for (size_t bit = 0; bit < element_bytes; bit++)
                    append(text, "%x", element[bit]);
            else
                for (size_t byte = element_bytes; byte-- > 0;)
                    append(text, "%02x", element[byte]);
        }
        return text;
    }
};

static std::vector<shown_register> all_registers(size_t element_bytes) {
    std::vector<shown_register> all;
    for (unsigned i = 0; i < 31; i++)
        all.push_back({"x" + std::to_string(i), offsetof(cpu_state, x) + 8 * i, 8, 8});
    all.push_back({"sp", offsetof(cpu_state, sp), 8, 8});
    all.push_back({"nzcv", offsetof(cpu_state, nzcv), 8, 8});
    all.push_back({"fpcr", offsetof(cpu_state, fpcr), 4, 4});
    all.push_back({"fpsr", offsetof(cpu_state, fpsr), 4, 4});
    const size_t row = sve_vector_bytes;
    for (unsigned i = 0; i < 32; i++)
        all.push_back(
            {"z" + std::to_string(i), offsetof(cpu_state, z) + row * i, row, element_bytes});
    for (unsigned i = 0; i < 16; i++)
        all.push_back({"p" + std::to_string(i), offsetof(cpu_state, p) + row * i, row, 8, true});
    all.push_back({"ffr", offsetof(cpu_state, ffr), row, 8, true});
    return all;
}

// The names of the registers that the word may name, and of those that any instruction may read.
static std::set<std::string> possible_inputs(const tested_row &row, uint32_t word) {
    std::set<std::string> names = {"nzcv", "fpcr", "fpsr"};
    for (const register_field &field : register_fields) {
        const std::string number = std::to_string(bits(word, field.high, field.low));
        if (!field.is_in(row))
            continue;
        for (const char *kind : {"p", "x", "z"})
            if (field.is_predicate == (*kind == 'p'))
                names.insert(kind + number);
    }
    if (names.contains("x31"))
        names.insert("sp");
    return names;
}

static void describe_memory(std::string &text, const outcome &expected, const outcome &got) {
    if (expected.memory == got.memory)
        return;
    const auto &before = arena_contents();
    const auto &e = expected.memory.empty() ? before : expected.memory;
    const auto &g = got.memory.empty() ? before : got.memory;
    unsigned shown = 0;
    for (size_t i = 0; i < before.size(); i++)
        if (e[i] != g[i] && shown++ < 16)
            append(text, "    memory %p before %02x expected %02x got %02x\n",
                   static_cast<void *>(arena().data() + i), before[i], e[i], g[i]);
    if (shown > 16)
        append(text, "    memory: %u more bytes\n", shown - 16);
}

std::string describe(const mismatch &m) {
    const char *handler = m.row.row->name;
    std::string text;
    append(text, "mismatch: word 0x%08x, %s, trial %lu, against %s\n", m.word, handler, m.trial,
           strcmp(m.tier, "hardware") == 0 ? "the processor" : "the reference tier");
    append(text, "  repeat with: conformance --rows %s --seed 0x%lx --trial %lu --tier %s\n",
           handler, m.seed, m.trial, m.tier);
    if (m.known)
        append(text, "  known difference: %s\n", m.known->reason);

    const unsigned width = element_bits(handler);
    const auto registers = all_registers(width ? width / 8 : 8);
    text += "  inputs, lowest element first\n";
    const auto inputs = possible_inputs(m.row, m.word);
    for (const shown_register &reg : registers)
        if (inputs.contains(reg.name))
            append(text, "    %-4s", reg.name.c_str()), text += reg.show(m.before) + "\n";

    for (const auto &[side, outcome] : {std::pair{"expected", &m.expected}, {"got", &m.got}})
        if (outcome->trouble)
            append(text, "  %s: %s\n", side, outcome->trouble);
    if (m.expected.trouble || m.got.trouble)
        return text;

    text += "  differences, marked *\n";
    const cpu_state &expected = m.expected.state.emulated, &got = m.got.state.emulated;
    for (const shown_register &reg : registers)
        if (reg.differs(expected, got)) {
            append(text, "    %-4s before  ", reg.name.c_str());
            text += reg.show(m.before) + "\n         expected" + reg.show(expected, &got) +
                    "\n         got     " + reg.show(got, &expected) + "\n";
        }
    describe_memory(text, m.expected, m.got);
    return text;
}

} // namespace conformance
