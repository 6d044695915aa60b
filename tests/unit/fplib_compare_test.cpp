#include "fplib_rows.h"

namespace {

TYPED_TEST(FPLib, Compares) {
    using T = TypeParam;
    using e = ends<T>;
    const T quiet = e::nan, signalling = e::inf | 1, tiny = e::tiny;
    const T one = p<T>(1), minus_two = p<T>(-2);
    struct {
        T op1, op2;
        unsigned control;
        bool eq, ge, gt, un;
        unsigned flags, ordering_flags; // of EQ and UN, of GE and GT
    } const rows[] = {
        {one, one, 0, true, true, false, false, 0, 0},
        {one, minus_two, 0, false, true, true, false, 0, 0},
        {minus_two, one, 0, false, false, false, false, 0, 0},
        {minus_two, p<T>(-1), 0, false, false, false, false, 0, 0},
        {p<T>(-1), minus_two, 0, false, true, true, false, 0, 0},
        {p<T>(0), p<T>(-0.0), 0, true, true, false, false, 0, 0},
        {p<T>(-0.0), p<T>(0), 0, true, true, false, false, 0, 0},
        {tiny, p<T>(-0.0), 0, false, true, true, false, 0, 0},
        {e::minus | tiny, p<T>(0), 0, false, false, false, false, 0, 0},
        {tiny, p<T>(-0.0), e::flush, true, true, false, false, e::flushed, e::flushed},
        {tiny, e::minus | tiny, e::flush, true, true, false, false, e::flushed, e::flushed},
        {e::inf, e::max, 0, false, true, true, false, 0, 0},
        {e::minus_inf, e::minus | e::max, 0, false, false, false, false, 0, 0},
        {e::inf, e::inf, 0, true, true, false, false, 0, 0},
        {quiet, p<T>(0), 0, false, false, false, true, 0, IOC},
        {e::inf, quiet, DN, false, false, false, true, 0, IOC},
        {quiet, quiet, 0, false, false, false, true, 0, IOC},
        {one, signalling, 0, false, false, false, true, IOC, IOC},
        {signalling, quiet, 0, false, false, false, true, IOC, IOC},
        {tiny, quiet, e::flush, false, false, false, true, e::flushed, IOC | e::flushed},
    };
    for (const auto &r : rows) {
        check<bool, T, T>({
            {"EQ", FPCompareEQ, {r.op1, r.op2}, r.eq, r.flags, r.control},
            {"GE", FPCompareGE, {r.op1, r.op2}, r.ge, r.ordering_flags, r.control},
            {"GT", FPCompareGT, {r.op1, r.op2}, r.gt, r.ordering_flags, r.control},
            {"UN", FPCompareUN, {r.op1, r.op2}, r.un, r.flags, r.control},
        });
        if constexpr (sizeof(T) > 2) {
            const int nzcv = r.un ? 3 : r.eq ? 6 : r.gt ? 2 : 8;
            check<int, T, T, bool>({
                {"four-way", FPCompare, {r.op1, r.op2, false}, nzcv, r.flags, r.control},
                {"signalling", FPCompare, {r.op1, r.op2, true}, nzcv, r.ordering_flags, r.control},
            });
        }
    }
}

TYPED_TEST(FPLib, MinimaAndMaxima) {
    using T = TypeParam;
    using e = ends<T>;
    const T quiet = e::minus | e::nan | 1, signalling = e::inf | 1;
    struct {
        T op1, op2;
        unsigned control;
        T max, min;
        unsigned flags;
    } const rows[] = {
        {p<T>(1), p<T>(2), 0, p<T>(2), p<T>(1), 0},
        {p<T>(-1), p<T>(-2), 0, p<T>(-1), p<T>(-2), 0},
        {p<T>(1), p<T>(-2), 0, p<T>(1), p<T>(-2), 0},
        {p<T>(0), p<T>(-0.0), 0, p<T>(0), p<T>(-0.0), 0},
        {p<T>(-0.0), p<T>(0), 0, p<T>(0), p<T>(-0.0), 0},
        {e::inf, e::minus_inf, 0, e::inf, e::minus_inf, 0},
        {2, 1, 0, 2, 1, 0},
        {2, e::minus | 1, e::flush, 0, e::minus, e::flushed},
        {e::normal, e::max_tiny, e::flush, e::normal, 0, e::flushed},
    };
    for (const auto &r : rows) {
        for (const auto maximum : {FPMax<T>, FPMaxNum<T>})
            check<T, T, T>({{"maximum", maximum, {r.op1, r.op2}, r.max, r.flags, r.control}});
        for (const auto minimum : {FPMin<T>, FPMinNum<T>})
            check<T, T, T>({{"minimum", minimum, {r.op1, r.op2}, r.min, r.flags, r.control}});
    }
    for (const auto number : {FPMaxNum<T>, FPMinNum<T>}) {
        check<T, T, T>({
            {"number second", number, {quiet, p<T>(1)}, p<T>(1)},
            {"number first", number, {p<T>(-1), quiet}, p<T>(-1), 0, DN},
            {"infinity is a number", number, {quiet, e::inf}, e::inf},
            {"minus infinity too", number, {e::minus_inf, quiet}, e::minus_inf},
            {"signalling", number, {p<T>(1), signalling}, signalling | e::quiet, IOC},
        });
    }
}

} // namespace
