#include "sve/permute/reorder.h"
#include "sve/permute/shuffles.h"
#include "sve/predicate/flags.h"

#include <algorithm>
#include <cstring>
#include <iterator>

using namespace sve;

// Element e of the result is the element source(e, count), counted in the concatenation of n and m.
template <class T, class F>
static VecT permute(const CpuContext *context, const VecT &n, const VecT &m, F source) {
    const unsigned count = element_count<T>(context);
    VecT result;
    for (unsigned e = 0; e < count; e++) {
        const unsigned from = source(e, count);
        result.set<T>(e, from < count ? n.get<T>(from) : m.get<T>(from - count));
    }
    return result;
}

// The even elements of the result come from n, the odd ones from m.
static unsigned of_m_if_odd(unsigned e, unsigned element, unsigned count) {
    return e % 2 == 0 ? element : count + element;
}

static constexpr auto zip1 = [](unsigned e, unsigned count) {
    return of_m_if_odd(e, e / 2, count);
};
static constexpr auto zip2 = [](unsigned e, unsigned count) {
    return of_m_if_odd(e, count / 2 + e / 2, count);
};
static constexpr auto uzp1 = [](unsigned e, unsigned) { return 2 * e; };
static constexpr auto uzp2 = [](unsigned e, unsigned) { return 2 * e + 1; };
static constexpr auto reverse = [](unsigned e, unsigned count) { return count - 1 - e; };

// The even (odd = 0) or the odd (odd = 1) elements of n and m in turn: pairs lie in one block.
template <class T, unsigned odd>
static VecT transpose(const CpuContext *context, const VecT &n, const VecT &m) {
    VecT result;
    for (unsigned block = 0; block < block_count(context); block++)
        store_chunk<T>(result.byte, block,
                       shuffle<T>(load_chunk<T>(n.byte, block), load_chunk<T>(m.byte, block),
                                  [](unsigned lane) {
                                      return lane / 2 * 2 + odd + lane % 2 * block_elements<T>;
                                  }));
    return result;
}

// Copies as many bytes as a vector has.
static void copy_vector(uint8_t *to, const uint8_t *from, const CpuContext *context) {
    for (unsigned block = 0; block < block_count(context); block++)
        store_chunk<uint8_t>(to, block, load_chunk<uint8_t>(from, block));
}

template <class T>
static VecT splice(PredV pg, const VecT &dn, const VecT &m, CpuContext *context) {
    const int first = first_active<T>(context, pg);
    if (first < 0)
        return m;
    const int last = last_active<T>(context, pg);
    // dn up to its last active element, with m behind it: the result starts at the first.
    uint8_t both[2 * sizeof(VecT)];
    copy_vector(both, dn.byte, context);
    copy_vector(both + (static_cast<size_t>(last) + 1) * sizeof(T), m.byte, context);
    VecT result;
    copy_vector(result.byte, both + static_cast<size_t>(first) * sizeof(T), context);
    return result;
}

template <class T>
static VecT compact(const PredV &pg, const VecT &n, const CpuContext *context) {
    VecT result = {};
    unsigned filled = 0;
    for_each_element<T>(context, pg, [&](unsigned e, bool active) {
        if (active)
            result.set<T>(filled++, n.get<T>(e));
    });
    return result;
}

template <class T>
static VecT insert(const VecT &dn, T value, const CpuContext *context) {
    uint8_t both[sizeof(T) + sizeof(VecT)];
    std::memcpy(both, &value, sizeof value);
    copy_vector(both + sizeof value, dn.byte, context);
    VecT result;
    copy_vector(result.byte, both, context);
    return result;
}

// Elements of type Narrow, from element `from` on, widened.
template <class Wide, class Narrow>
static VecT unpack(const VecT &n, unsigned from, const CpuContext *context) {
    VecT result;
    for (unsigned block = 0; block < block_count(context); block++) {
        Narrow narrow[block_elements<Wide>];
        std::memcpy(narrow, n.byte + (from + block * block_elements<Wide>)*sizeof(Narrow),
                    sizeof narrow);
        Wide wide[block_elements<Wide>];
        std::copy(std::begin(narrow), std::end(narrow), wide);
        std::memcpy(result.byte + block * sizeof wide, wide, sizeof wide);
    }
    return result;
}

#define VV(type, T, op, source)                                                                    \
    VecT Vec##type##op##VV(VecT n, VecT m, CpuContext *context) {                                  \
        return permute<T>(context, n, m, source);                                                  \
    }
#define TRN(type, T, op, odd)                                                                      \
    VecT Vec##type##op##VV(VecT n, VecT m, CpuContext *context) {                                  \
        return transpose<T, odd>(context, n, m);                                                   \
    }
#define TABLE(type, T)                                                                             \
    VecT Vec##type##TblVV(VecT n, VecT m, CpuContext *context) {                                   \
        const auto look_up = [&](T index) {                                                        \
            return index < element_count<T>(context) ? n.get<T>(static_cast<unsigned>(index))      \
                                                     : T{0};                                       \
        };                                                                                         \
        return unpredicated<T>(context, look_up, m);                                               \
    }
#define REVERSE(type, T)                                                                           \
    VecT Vec##type##ReverseV(VecT n, CpuContext *context) {                                        \
        return permute<T>(context, n, n, reverse);                                                 \
    }
#define SPLICE(type, T)                                                                            \
    VecT Vec##type##SpliceVV(PredV pg, VecT dn, VecT m, CpuContext *context) {                     \
        return splice<T>(pg, dn, m, context);                                                      \
    }
#define COMPACT(type, T)                                                                           \
    VecT Vec##type##CompressVV(PredV pg, VecT n, CpuContext *context) {                            \
        return compact<T>(pg, n, context);                                                         \
    }
#define INSERT(type, T)                                                                            \
    VecT Vec##type##InsertS(VecT dn, T value, CpuContext *context) {                               \
        return insert<T>(dn, value, context);                                                      \
    }
#define UNPACK(type, Wide, Narrow)                                                                 \
    VecT Vec##type##UnpackLoV(VecT n, CpuContext *context) {                                       \
        return unpack<Wide, Narrow>(n, 0, context);                                                \
    }                                                                                              \
    VecT Vec##type##UnpackHiV(VecT n, CpuContext *context) {                                       \
        return unpack<Wide, Narrow>(n, element_count<Wide>(context), context);                     \
    }

#define UNSIGNED(U, T)                                                                             \
    VV(U, T, Zip1, zip1)                                                                           \
    VV(U, T, Zip2, zip2)                                                                           \
    VV(U, T, Uzp1, uzp1)                                                                           \
    VV(U, T, Uzp2, uzp2)                                                                           \
    TRN(U, T, Trn1, 0)                                                                             \
    TRN(U, T, Trn2, 1)                                                                             \
    TABLE(U, T)                                                                                    \
    REVERSE(U, T)                                                                                  \
    SPLICE(U, T)                                                                                   \
    INSERT(U, T)
SVE_UNSIGNED_TYPES(UNSIGNED)
SVE_V_SCALAR_TYPES(INSERT)
COMPACT(U32, uint32_t)
COMPACT(U64, uint64_t)
UNPACK(S16, int16_t, int8_t)
UNPACK(S32, int32_t, int16_t)
UNPACK(S64, int64_t, int32_t)
UNPACK(U16, uint16_t, uint8_t)
UNPACK(U32, uint32_t, uint16_t)
UNPACK(U64, uint64_t, uint32_t)

VecT VecU8SlideVI(VecT dn, VecT m, unsigned offset, CpuContext *context) {
    return permute<uint8_t>(context, dn, m, [offset](unsigned e, unsigned count) {
        return e + (offset < count ? offset : 0);
    });
}
