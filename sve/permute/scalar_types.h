#pragma once

#include <cstdint>

// Stamps a definition for each type of a scalar in a V register: F(type of the handler's name, type
// of the bit image). The permutes look into no value, so a floating-point one is its image.
#define SVE_V_SCALAR_TYPES(F) F(B8, uint8_t) F(H16, uint16_t) F(F32, uint32_t) F(D64, uint64_t)
