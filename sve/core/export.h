#pragma once

// Marks what the shared library exports; everything else is hidden. Protected: others may call it,
// but within the library the name always means this definition, whatever the application calls its
// own.
#define SVE_EXPORT __attribute__((visibility("protected")))
