#include "sve/fp/conversions.h"

#include <type_traits>

using namespace sve;

template <class Source, class Result>
static Result from_integer(Source source, FPSCR &fpscr) {
    return fplibFixedToFP<Result>(static_cast<uint64_t>(source), 0, std::is_unsigned_v<Source>,
                                  FPRoundingMode(fpscr), fpscr);
}

template <class Source, class Result>
static Result to_integer(Source source, FPSCR &fpscr) {
    return static_cast<Result>(fplibFPToFixed<std::make_unsigned_t<Result>>(
        source, 0, std::is_unsigned_v<Result>, FPRounding_ZERO, fpscr));
}

template <class Source, class Result>
static Result between_formats(Source source, FPSCR &fpscr) {
    fpscr.word &= ~(FPSCR::AHP | FPSCR::FZ16);
    return FPConvert<Result>(source, FPRoundingMode(fpscr), fpscr);
}

// In the active elements: op of the low part, extended.
template <class Element, class Source, auto op>
static VecT convert(CpuContext *context, const VecT &d, const PredV &pg, const VecT &n) {
    return with_fpscr(context, [&](FPSCR &fpscr) {
        return merge<Element>(
            context, d, pg,
            [&](Element element) { return op(static_cast<Source>(element), fpscr); }, n);
    });
}

#define CONVERT(name, Element, Source, op)                                                         \
    VecT Vec##name##VM(VecT d, PredV pg, VecT n, CpuContext *context) {                            \
        return convert<Element, Source, op>(context, d, pg, n);                                    \
    }
#define FROM(name, Element, Source, Result)                                                        \
    CONVERT(name, Element, Source, (from_integer<Source, Result>))
#define TO(name, Element, Source, Result)                                                          \
    CONVERT(name, Element, Source, (to_integer<Source, Result>))
#define BETWEEN(name, Element, Source, Result)                                                     \
    CONVERT(name, Element, Source, (between_formats<Source, Result>))
SVE_FROM_INTEGER(FROM)
SVE_TO_INTEGER(TO)
SVE_BETWEEN_FORMATS(BETWEEN)
