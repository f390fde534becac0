#pragma once

#include <limits>

namespace Qv {

/// The largest number below 1.
template <class T>
constexpr T RN_BELOW_ONE = T( 1 ) - std::numeric_limits<T>::epsilon() / 2;

/// Brings what rounding made 1 or more below 1, where the density isn't 0.
template <class T>
constexpr T belowOne( T value ) {
    return value < RN_BELOW_ONE<T> ? value : RN_BELOW_ONE<T>;
}

} // namespace Qv
