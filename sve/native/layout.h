#pragma once

// What translated code finds for each thread, as offsets from the address in its base register. Translations are made
// for any vector length, and compiled once for all: nothing here may depend on the length of the build.

namespace sve::native {

inline constexpr unsigned chunk_bytes = 16;

struct layout {
    unsigned vector_bytes;

    constexpr unsigned chunks() const { return vector_bytes / chunk_bytes; }
    constexpr unsigned x(unsigned number) const { return 8 * number; }
    constexpr unsigned sp() const { return 248; }
    constexpr unsigned z(unsigned number) const { return 288 + number * vector_bytes; }
    constexpr unsigned p(unsigned number) const { return z(32 + number); }
    constexpr unsigned ffr() const { return p(16); }
    constexpr unsigned returns_to() const { return p(17) + 8; } // behind the cpu_state
    constexpr unsigned counters() const { return returns_to() + 8; }
    constexpr unsigned full(unsigned p) const { return counters() + 8 + 4 * p; }
    constexpr unsigned spare() const { return full(16) + 8; }
};

} // namespace sve::native
