#pragma once

// Sums and differences of elements that stop at the limits of their type. They are written without branches and
// without the compiler's tests for overflow, so that loops over them become vector instructions.

#include <limits>
#include <type_traits>

namespace sve {

// a + amount. The amount is not negative, and may be beyond the limits of a signed T.
inline constexpr auto increase_saturating = []<class T>(T a, std::make_unsigned_t<T> amount) -> T {
    const auto sum = static_cast<T>(static_cast<std::make_unsigned_t<T>>(a) + amount);
    return sum < a ? std::numeric_limits<T>::max() : sum;
};

// a - amount, in the same way.
inline constexpr auto decrease_saturating = []<class T>(T a, std::make_unsigned_t<T> amount) -> T {
    const auto difference = static_cast<T>(static_cast<std::make_unsigned_t<T>>(a) - amount);
    return difference > a ? std::numeric_limits<T>::min() : difference;
};

} // namespace sve
