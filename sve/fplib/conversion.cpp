#include "sve/fplib/conversion.h"

#include "sve/fplib/common_case.h"
#include "sve/fplib/rounding.h"

namespace fplib {
namespace {

// A magnitude rounded to an integer, and the error told by rounding_error.
struct rounded_integer {
    unsigned long magnitude;
    int error;
};

// The mantissa without its low `fraction_bits`.
rounded_integer round_to_integer(int sgn, unsigned long mnt, int fraction_bits, int rm) {
    unsigned long magnitude = 0;
    unsigned long dropped = mnt != 0; // below one half
    if (fraction_bits < 64) {
        magnitude = mnt >> fraction_bits;
        dropped = mnt << 1 << (63 - fraction_bits);
    } else if (fraction_bits == 64) {
        dropped = mnt;
    }
    const int error = rounding_error(dropped);
    return {magnitude + rounds_up(rm, sgn, magnitude & 1, error), error};
}

// The integer of the given size next to what is too large for it.
template <FPPattern U>
constexpr U saturated(int sgn, bool unsigned_) {
    if (unsigned_)
        return static_cast<U>(sgn ? 0 : ~U{0});
    return static_cast<U>(format<U>::sign - (sgn ? 0 : 1));
}

// op * 2^scale.
template <FPPattern T>
T fp_scale(T op, long scale, FPSCR &fpscr) {
    const int mode = fp_mode_word(fpscr);
    fp_flags flags(fpscr);
    const unpacked x = fp_unpack(op, mode, flags);
    if (is_nan(op))
        return fp_process_nan(op, mode, flags);
    if (is_special<T>(x))
        return op;
    if (x.mnt == 0)
        return with_sign(x.sgn, T{0});
    // The limits lie beyond the exponent ranges of all formats.
    const int exp = x.exp + static_cast<int>(std::clamp(scale, -3000l, 3000l));
    return fp_round<T>(x.sgn, exp, x.mnt, mode & mode_rounding, mode, flags);
}

} // namespace

long FPToFixed_64(int sgn, int exp, unsigned long mnt, bool unsigned_, FPRounding rounding,
                  int *flags) {
    const auto [magnitude, error] = round_to_integer(sgn, mnt << 11, 1086 - exp, rounding);
    const unsigned long limit = unsigned_ ? (sgn ? 0 : ~0ul) : (1ul << 63) - (sgn ? 0 : 1);
    if (magnitude > limit) {
        *flags = IOC;
        return static_cast<long>(saturated<unsigned long>(sgn, unsigned_));
    }
    if (error != 0)
        *flags = IXC;
    return static_cast<long>(sgn ? -magnitude : magnitude);
}

} // namespace fplib

using namespace fplib;

template <FPPattern D, FPPattern S>
D FPConvert(S op, FPRounding rounding, FPSCR &fpscr) {
    const int mode = fp_mode_word(fpscr);
    fp_flags flags(fpscr);
    const unpacked x = fp_unpack(op, mode, flags);
    const bool alternative = fpscr.word & FPSCR::AHP;
    const bool from_alternative = alternative && format<S>::width == 16;
    const bool to_alternative = alternative && format<D>::width == 16;

    if (is_special<S>(x) && !from_alternative) [[unlikely]] {
        if (to_alternative) {
            // There is no such value in that format.
            *flags |= IOC;
            return with_sign(x.sgn, is_nan(op) ? D{0} : FPAbs<D>(~0));
        }
        if (!is_nan(op))
            return with_sign(x.sgn, format<D>::infinity);
        if (is_signalling(op))
            *flags |= IOC;
        if (mode & mode_DN)
            return format<D>::default_nan;
        const unsigned long payload = x.mnt << 1 >> (64 - format<D>::fraction_bits);
        return with_sign(x.sgn, static_cast<D>(format<D>::default_nan | payload));
    }
    if (x.mnt == 0)
        return with_sign(x.sgn, D{0});
    // A wider format holds every number, denormals as normal ones: nothing is rounded then.
    const int exp = x.exp - format<S>::bias + format<D>::bias;
    const int result_mode = (mode & ~mode_FZ16) | (to_alternative ? mode_AHP : 0);
    return fp_round<D>(x.sgn, exp, x.mnt, rounding, result_mode, flags);
}

template <FPPattern U, FPPattern T>
[[gnu::noinline]] static U fp_to_fixed(T op, int fbits, bool unsigned_, FPRounding rounding,
                                       FPSCR &fpscr) {
    fp_flags flags(fpscr);
    const unpacked x = fp_unpack(op, fp_mode_word(fpscr), flags);
    if (is_nan(op)) {
        *flags |= IOC;
        return 0;
    }

    // From 2^64 on, infinities included, nothing needs to be looked at.
    const int exp = x.exp - format<T>::bias + format<unsigned long>::bias + fbits;
    if (!is_special<T>(x) && exp <= 1086) {
        int result_flags = 0;
        const long result =
            FPToFixed_64(x.sgn, exp, x.mnt >> 11, unsigned_, rounding, &result_flags);
        const auto image = static_cast<U>(result);
        const bool fits = unsigned_ ? image == static_cast<unsigned long>(result)
                                    : static_cast<std::make_signed_t<U>>(image) == result;
        if (fits) {
            *flags |= result_flags;
            return image;
        }
    }
    *flags |= IOC;
    return saturated<U>(x.sgn, unsigned_);
}

template <FPPattern U, FPPattern T>
U fplibFPToFixed(T op, int fbits, bool unsigned_, FPRounding rounding, FPSCR &fpscr) {
    if (fbits == 0 && rounding == FPRounding_ZERO)
        if (const auto integer = fp_truncate_common<U>(op, unsigned_, fpscr)) [[likely]]
            return *integer;
    return fp_to_fixed<U>(op, fbits, unsigned_, rounding, fpscr);
}

template <FPPattern T>
T fplibFixedToFP(unsigned long op, int fbits, bool unsigned_, FPRounding rounding, FPSCR &fpscr) {
    const int mode = fp_mode_word(fpscr) & ~mode_FZ16; // half results aren't flushed
    fp_flags flags(fpscr);
    const int sgn = !unsigned_ && sign_of(op);
    unsigned long magnitude = sgn ? -op : op;
    if (magnitude == 0)
        return 0;
    int exp = format<T>::bias + 63 - fbits;
    fp_normalise(magnitude, exp);
    return fp_round<T>(sgn, exp, magnitude, rounding & mode_rounding, mode, flags);
}

template <FPPattern T>
T FPRoundInt(T op, FPRounding rounding, bool exact, FPSCR &fpscr) {
    const int mode = fp_mode_word(fpscr);
    fp_flags flags(fpscr);
    const unpacked x = fp_unpack(op, mode, flags);
    if (is_nan(op))
        return fp_process_nan(op, mode, flags);
    if (x.mnt == 0)
        return with_sign(x.sgn, T{0});
    if (x.exp >= format<T>::bias + format<T>::fraction_bits)
        return op; // integral already, or infinite

    int exp = format<T>::bias + 63;
    auto [magnitude, error] = round_to_integer(x.sgn, x.mnt, exp - x.exp, rounding);
    if (exact && error != 0)
        *flags |= IXC;
    if (magnitude == 0)
        return with_sign(x.sgn, T{0});
    fp_normalise(magnitude, exp);
    return with_sign(x.sgn, static_cast<T>(magnitude_of<T>(exp, magnitude))); // exact
}

unsigned short FPScale16(unsigned short op, short scale, FPSCR &fpscr) {
    return fp_scale(op, scale, fpscr);
}
unsigned int FPScale32(unsigned int op, int scale, FPSCR &fpscr) {
    return fp_scale(op, scale, fpscr);
}
unsigned long FPScale64(unsigned long op, long scale, FPSCR &fpscr) {
    return fp_scale(op, scale, fpscr);
}

unsigned short FPProcess16(unsigned short op, FPSCR &fpscr) {
    return fp_scale(op, 0, fpscr);
}
unsigned int FPProcess32(unsigned int op, FPSCR &fpscr) {
    return fp_scale(op, 0, fpscr);
}
unsigned long FPProcess64(unsigned long op, FPSCR &fpscr) {
    return fp_scale(op, 0, fpscr);
}

template unsigned short FPConvert(unsigned int, FPRounding, FPSCR &);
template unsigned short FPConvert(unsigned long, FPRounding, FPSCR &);
template unsigned int FPConvert(unsigned short, FPRounding, FPSCR &);
template unsigned int FPConvert(unsigned long, FPRounding, FPSCR &);
template unsigned long FPConvert(unsigned short, FPRounding, FPSCR &);
template unsigned long FPConvert(unsigned int, FPRounding, FPSCR &);

template unsigned short fplibFPToFixed(unsigned short, int, bool, FPRounding, FPSCR &);
template unsigned int fplibFPToFixed(unsigned short, int, bool, FPRounding, FPSCR &);
template unsigned int fplibFPToFixed(unsigned int, int, bool, FPRounding, FPSCR &);
template unsigned int fplibFPToFixed(unsigned long, int, bool, FPRounding, FPSCR &);
template unsigned long fplibFPToFixed(unsigned short, int, bool, FPRounding, FPSCR &);
template unsigned long fplibFPToFixed(unsigned int, int, bool, FPRounding, FPSCR &);
template unsigned long fplibFPToFixed(unsigned long, int, bool, FPRounding, FPSCR &);

#define INSTANTIATE(T)                                                                             \
    template T fplibFixedToFP(unsigned long, int, bool, FPRounding, FPSCR &);                      \
    template T FPRoundInt(T, FPRounding, bool, FPSCR &);

INSTANTIATE(unsigned short)
INSTANTIATE(unsigned int)
INSTANTIATE(unsigned long)

#undef INSTANTIATE
