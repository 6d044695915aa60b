#pragma once

// What the platform has done, for sverun --report. None of it is on the way of an emulated
// instruction.

#include <atomic>
#include <cstdint>

namespace platform {

struct platform_counters {
    std::atomic<uint64_t> traps;             // at instructions that the processor didn't know
    std::atomic<uint64_t> executed_at_traps; // instructions, by the trap event
    std::atomic<uint64_t> blocks_rewritten;  // that trapped repeatedly
    std::atomic<uint64_t> sites_rewritten;   // their instructions that have become branches
    std::atomic<uint64_t> pages_changed;     // of text, made writable for a moment
    std::atomic<uint64_t> natives_rewritten; // others, which the processor knows
    std::atomic<uint64_t> signals_delivered; // handlers of the application that were called
    std::atomic<uint64_t> signals_put_off;   // signals that waited for the program to go on
    std::atomic<uint64_t> detours;           // that threads took in place of trampolines, for them
};
inline constinit platform_counters counters{};

inline void count(std::atomic<uint64_t> &counter, uint64_t amount = 1) {
    counter.fetch_add(amount, std::memory_order_relaxed);
}

} // namespace platform
