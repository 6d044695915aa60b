#pragma once

namespace platform {

// From now on the program's own code is told that the processor has SVE, with vectors of so many bytes.
// Once, at the start.
void announce_vectors(unsigned bytes);

// What the loader says of the processor (AT_HWCAP), so that the kernel needn't be asked.
void note_capabilities(unsigned long told);

// What the kernel's auxiliary vector has, whoever asks. Can be called at any time.
unsigned long true_auxiliary_value(unsigned long type);

} // namespace platform
