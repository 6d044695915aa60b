#pragma once

// A lock for what takes a few instructions. std::mutex would do, but its lock and unlock are calls
// into the C library that cost as much as an emulated instruction's own work.

#include <atomic>
#include <cstdint>

namespace sve {

// Meets the standard's Lockable requirements. Nothing is kept of the owner: a fork may give it up in
// the child. Safe in signal handlers that don't interrupt its owner; errno stays as it is.
class short_mutex {
public:
    constexpr short_mutex() = default;
    short_mutex(const short_mutex &) = delete;
    short_mutex &operator=(const short_mutex &) = delete;

    bool try_lock() {
        uint32_t expected = unlocked;
        return state_.compare_exchange_strong(expected, locked, std::memory_order_acquire,
                                              std::memory_order_relaxed);
    }
    void lock() {
        if (!try_lock()) [[unlikely]]
            lock_when_free();
    }
    void unlock() {
        if (state_.exchange(unlocked, std::memory_order_release) == awaited) [[unlikely]]
            wake_one();
    }

private:
    enum : uint32_t { unlocked, locked, awaited };

    void lock_when_free();
    void wake_one();

    std::atomic<uint32_t> state_ = unlocked; // awaited: locked, and a thread may sleep
};

} // namespace sve
