// The floating-point library beside the host's own instructions: latencies, measured in turns in one run.
#include "sve/fplib/fplib.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace {

template <class T>
using number = std::conditional_t<sizeof(T) == 4, float, double>;

constexpr unsigned table_size = 4096;

// Patterns of numbers around 1, between 2^-8 and 2^8; with either sign if `any_sign`.
template <class T>
std::array<T, table_size> numbers_around_one(bool any_sign) {
    std::mt19937_64 random(1);
    std::array<T, table_size> table;
    for (T &pattern : table) {
        const auto fraction = static_cast<double>(random() >> 11) * 0x1p-53;
        const auto value =
            static_cast<number<T>>(std::ldexp(1 + fraction, static_cast<int>(random() % 16) - 8));
        pattern = std::bit_cast<T>(any_sign && random() % 2 ? -value : value);
    }
    return table;
}

// Each call waits for the one before: bit 0 of its result goes into an operand.
template <class T, auto operation>
void library(benchmark::State &state, int calls, bool any_sign) {
    const std::array<T, table_size> table = numbers_around_one<T>(any_sign);
    FPSCR fpscr;
    T x = 0;
    unsigned i = 0;
    for (auto _ : state)
        for (int call = 0; call < calls; call++) {
            x = operation(static_cast<T>(table[i] ^ (x & 1)), table[(i + 1) % table_size],
                          table[(i + 2) % table_size], fpscr);
            i = (i + 3) % table_size;
        }
    benchmark::DoNotOptimize(x);
}

// Keeps the value in its register, and the compiler from knowing it.
template <class F>
void opaque(F &x) {
#ifdef __aarch64__
    asm volatile("" : "+w"(x));
#else
    asm volatile("" : "+x"(x));
#endif
}

// A chain of the instruction, from a fresh number now and then, which waits for the chain before it.
template <class T, auto operation>
void host(benchmark::State &state, int calls, bool) {
    const std::array<T, table_size> table = numbers_around_one<T>(false);
    number<T> x = 1, y = static_cast<number<T>>(1.37), z = static_cast<number<T>>(0.61);
    opaque(y);
    opaque(z);
    unsigned i = 0;
    for (auto _ : state) {
        x = std::bit_cast<number<T>>(static_cast<T>(table[i] ^ (std::bit_cast<T>(x) & 1)));
        i = (i + 1) % table_size;
        for (int call = 0; call < calls; call++) {
            x = operation(x, y, z);
            opaque(x);
        }
    }
}

// Both sides of an operation, and how many times slower the library may well be.
struct compared {
    std::string name;
    int calls; // in an iteration; few where a chain converges to what might be a special case
    double mark;
};
std::vector<compared> comparisons;

template <class T, auto by_library, auto by_host>
void compare(const char *operation, int calls, double mark, bool any_sign = true) {
    const std::string name = std::string(operation) + (sizeof(T) == 4 ? " single" : " double");
    comparisons.push_back({name, calls, mark});
    for (const auto &[side, run] :
         {std::pair{"library", &library<T, by_library>}, {"host", &host<T, by_host>}})
        benchmark::RegisterBenchmark((name + '/' + side).c_str(), run, calls, any_sign)
            ->Repetitions(7)
            ->MinTime(0.05);
}

template <class T>
void compare_all() {
    using F = number<T>;
    compare<T, [](T a, T b, T, FPSCR &s) { return FPAdd(a, b, s); },
            [](F x, F y, F) { return x + y; }>("FPAdd", 64, 12);
    compare<T, [](T a, T b, T, FPSCR &s) { return FPMul(a, b, s); },
            [](F x, F y, F) { return x * y; }>("FPMul", 64, 12);
    compare<T, [](T a, T b, T, FPSCR &s) { return FPDiv(a, b, s); },
            [](F x, F y, F) { return y / x; }>("FPDiv", 64, 25);
    compare<T, [](T a, T b, T c, FPSCR &s) { return FPMulAdd(a, b, c, s); },
            [](F x, F y, F z) { return std::fma(x, z, y); }>("FPMulAdd", 64, 20);
    compare<T, [](T a, T, T, FPSCR &s) { return FPSqrt(a, s); },
            [](F x, F, F) { return std::sqrt(x); }>("FPSqrt", 12, 40, false);
}

// Prints as usual and keeps the times.
class keeping_reporter : public benchmark::ConsoleReporter {
public:
    std::map<std::string, std::vector<double>> nanoseconds; // of an iteration

    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &run : runs)
            if (run.run_type == Run::RT_Iteration)
                nanoseconds[run.run_name.function_name].push_back(run.GetAdjustedCPUTime());
    }
};

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values.empty() ? NAN : values[values.size() / 2];
}

} // namespace

int main(int argc, char **argv) {
#ifdef __x86_64__
    if (!__builtin_cpu_supports("fma")) {
        fputs("fplib_benchmark: this processor has no fused multiply-add to compare with\n",
              stderr);
        return 1;
    }
#endif
    compare_all<unsigned int>();
    compare_all<unsigned long>();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    keeping_reporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    printf("\n%-18s %10s %10s %8s %6s\n", "median latency", "library", "host", "ratio", "mark");
    for (const compared &one : comparisons) {
        const double library = median(reporter.nanoseconds[one.name + "/library"]) / one.calls;
        const double host = median(reporter.nanoseconds[one.name + "/host"]) / one.calls;
        if (!std::isnan(library) && !std::isnan(host))
            printf("%-18s %7.2f ns %7.2f ns %8.1f %6.0f\n", one.name.c_str(), library, host,
                   library / host, one.mark);
    }
}
