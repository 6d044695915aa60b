// A native instruction that writes a V register clears the rest of the Z register. Each kind of them runs in each of
// the surroundings that native_writes.S makes: in the main thread, in handlers of signals that interrupt SVE
// code, and in a second thread. Each case runs four times, and prints a sum of what it stored each time.
//
//     native_writes [checked]
//
// `checked` runs kinds of which a processor emulator is known to clear nothing. Each is compared with code that
// clears by SVE instructions, and there is a line for each case that differs.
#include "program.h"

#include <csignal>
#include <iterator>
#include <thread>
#include <ucontext.h>
#include <vector>

namespace {

using case_function = void(uint8_t *out, const uint8_t *fill, const uint8_t *data, uint64_t value,
                           uint64_t index, uint64_t way);

struct native_case {
    const char *name;
    case_function *run, *reference;
};

constexpr unsigned runs = 4;
constexpr size_t stored_vectors = 15, filled_vectors = 5, most_vector_bytes = 256;
constexpr size_t interrupted_vectors = 24;

struct inputs {
    uint8_t fill[filled_vectors * most_vector_bytes];
    uint8_t data[1024];
    uint64_t value, index, way;
};

struct output {
    uint8_t bytes[stored_vectors * most_vector_bytes];
};

struct sums {
    uint32_t of_run[runs];
};

} // namespace

extern "C" {
extern const native_case native_writes_main[], native_writes_main_end[];
extern const native_case native_writes_handler[], native_writes_handler_end[];
extern const native_case native_writes_thread[], native_writes_thread_end[];
extern const native_case native_writes_checked[], native_writes_checked_end[];
void native_writes_interrupted(uint8_t *out, const uint8_t *fill);
uint64_t native_writes_vector_bytes();
}

namespace {

inputs inputs_of_run[runs];
size_t vector_size;

void draw_inputs() {
    for (unsigned run = 0; run < runs; run++) {
        inputs &in = inputs_of_run[run];
        fill_random(&in, sizeof in, run + 1);
        for (uint8_t &byte : in.fill)
            byte |= static_cast<uint8_t>(byte ? 0 : 1);
        in.index %= 8;
        in.way = run % 2 == 0;
    }
}

void run_once(case_function *function, unsigned run, output &out) {
    const inputs &in = inputs_of_run[run];
    memset(out.bytes, 0xee, sizeof out.bytes);
    function(out.bytes, in.fill, in.data + sizeof in.data / 2, in.value, in.index, in.way);
}

sums run_case(const native_case &test) {
    sums result;
    output out;
    for (unsigned run = 0; run < runs; run++) {
        run_once(test.run, run, out);
        result.of_run[run] = checksum(0, out.bytes, stored_vectors * vector_size);
    }
    return result;
}

void print(const char *where, const native_case &test, const sums &result) {
    printf("%s: %s:", where, test.name);
    for (const uint32_t sum : result.of_run)
        printf(" %08x", sum);
    printf("\n");
}

// ---- Handlers of signals --------------------------------------------------------------------------

const native_case *handled_case;
sums handled_sums;

void on_trap(int, siginfo_t *, void *context) {
    handled_sums = run_case(*handled_case);
    static_cast<ucontext_t *>(context)->uc_mcontext.pc += 4;
}

// The registers that the handler's case interrupts are printed too.
void run_in_handlers() {
    struct sigaction action = {};
    action.sa_sigaction = on_trap;
    action.sa_flags = SA_SIGINFO;
    sigaction(SIGTRAP, &action, nullptr);
    static uint8_t interrupted[interrupted_vectors * most_vector_bytes];
    for (auto *test = native_writes_handler; test != native_writes_handler_end; test++) {
        handled_case = test;
        native_writes_interrupted(interrupted, inputs_of_run[0].fill);
        print("handler", *test, handled_sums);
        printf("    interrupted: %08x\n",
               checksum(0, interrupted, interrupted_vectors * vector_size));
    }
}

// ---- Kinds without a processor to compare with ----------------------------------------------------

int check() {
    unsigned cases = 0, wrong = 0;
    for (auto *test = native_writes_checked; test != native_writes_checked_end; test++) {
        output got, expected;
        bool is_right = true;
        for (unsigned run = 0; run < runs; run++) {
            run_once(test->run, run, got);
            run_once(test->reference, run, expected);
            is_right &= memcmp(got.bytes, expected.bytes, sizeof got.bytes) == 0;
        }
        cases++;
        wrong += !is_right;
        if (!is_right)
            printf("wrong: %s\n", test->name);
    }
    printf("%u cases, %u of them wrong\n", cases, wrong);
    return cases > 0 && wrong == 0 ? 0 : 1;
}

} // namespace

int main(int argc, char **argv) {
    vector_size = native_writes_vector_bytes();
    draw_inputs();
    if (argc > 1 && strcmp(argv[1], "checked") == 0)
        return check();

    std::vector<sums> of_thread;
    std::thread thread([&] {
        for (auto *test = native_writes_thread; test != native_writes_thread_end; test++)
            of_thread.push_back(run_case(*test));
    });
    for (auto *test = native_writes_main; test != native_writes_main_end; test++)
        print("main", *test, run_case(*test));
    run_in_handlers();
    thread.join();
    for (size_t i = 0; i < of_thread.size(); i++)
        print("thread", native_writes_thread[i], of_thread[i]);
    return 0;
}
