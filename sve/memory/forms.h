#pragma once

// How the tables of memory instructions name types: the type of a handler's name is the register
// element, with its sign; the number behind the operation is the bytes of an element in memory.

#include "sve/core/operands.h"

#include <bit>
#include <cstdint>
#include <type_traits>

namespace sve::memory {

using U8 = uint8_t;
using U16 = uint16_t;
using U32 = uint32_t;
using U64 = uint64_t;
using S16 = int16_t;
using S32 = int32_t;
using S64 = int64_t;

template <unsigned bytes>
struct unsigned_type;
template <>
struct unsigned_type<1> : std::type_identity<uint8_t> {};
template <>
struct unsigned_type<2> : std::type_identity<uint16_t> {};
template <>
struct unsigned_type<4> : std::type_identity<uint32_t> {};
template <>
struct unsigned_type<8> : std::type_identity<uint64_t> {};

// An element of `bytes` bytes in memory whose conversion to Element extends it as the instruction does.
template <class Element, unsigned bytes>
using memory_type =
    typename std::conditional_t<std::is_signed_v<Element>,
                                std::make_signed<typename unsigned_type<bytes>::type>,
                                unsigned_type<bytes>>::type;

// The size code of a register element.
template <class Element>
inline constexpr unsigned size_of = std::countr_zero(sizeof(Element));

} // namespace sve::memory
