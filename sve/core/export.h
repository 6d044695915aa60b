#pragma once

// Marks what the shared library exports; everything else is hidden. Protected: others may call it,
// but within the library the name always means this definition, whatever the application calls its
// own.
#define SVE_EXPORT __attribute__((visibility("protected")))

// A direct routine: it works in place on the cpu_state that is its first argument.
#define SVE_ROUTINE SVE_EXPORT aarch64_decode_rc

// A reference function, exported under the plain name of its handler.
#define SVE_REFERENCE extern "C" SVE_EXPORT
