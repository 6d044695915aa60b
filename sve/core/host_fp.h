#pragma once

// The host's floating-point control and status words, in the layout of the AArch64 FPCR and FPSR.
// On other hosts they are a pair of words of the thread's own, with the same meaning for the
// operations behind this header.

#include <cstdint>

namespace sve {

#if defined(__aarch64__)

inline uint32_t read_host_fpcr() {
    uint64_t value;
    asm volatile("mrs %0, fpcr" : "=r"(value));
    return static_cast<uint32_t>(value);
}
inline void write_host_fpcr(uint32_t value) {
    asm volatile("msr fpcr, %0" ::"r"(uint64_t{value}));
}
inline uint32_t read_host_fpsr() {
    uint64_t value;
    asm volatile("mrs %0, fpsr" : "=r"(value));
    return static_cast<uint32_t>(value);
}
inline void write_host_fpsr(uint32_t value) {
    asm volatile("msr fpsr, %0" ::"r"(uint64_t{value}));
}

#else

inline thread_local uint32_t host_fpcr_word;
inline thread_local uint32_t host_fpsr_word;
inline uint32_t read_host_fpcr() {
    return host_fpcr_word;
}
inline void write_host_fpcr(uint32_t value) {
    host_fpcr_word = value;
}
inline uint32_t read_host_fpsr() {
    return host_fpsr_word;
}
inline void write_host_fpsr(uint32_t value) {
    host_fpsr_word = value;
}

#endif

// Puts a control and a status word into force on the host, and gives the caller's back at the end
// of the scope.
class host_fp_scope {
public:
    host_fp_scope(uint32_t fpcr, uint32_t fpsr)
        : caller_fpcr_(read_host_fpcr()), caller_fpsr_(read_host_fpsr()) {
        write_host_fpcr(fpcr);
        write_host_fpsr(fpsr);
    }
    ~host_fp_scope() {
        write_host_fpcr(caller_fpcr_);
        write_host_fpsr(caller_fpsr_);
    }
    host_fp_scope(const host_fp_scope &) = delete;
    host_fp_scope &operator=(const host_fp_scope &) = delete;

private:
    uint32_t caller_fpcr_;
    uint32_t caller_fpsr_;
};

} // namespace sve
