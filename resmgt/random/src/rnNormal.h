#pragma once

#include <cmath>

namespace Qv {

/// What the generators of normal values report of their distribution.
constexpr double RN_SIGMAS_OF_BOX = 4;
constexpr double RN_NORMAL_FRACTION = 0.99993666;
constexpr double RN_SQRT_OF_2_PI = 2.5066282746310002;

template <class T>
T getNormalPdf( T x, T mean, T sigma ) {
    const T distance = x - mean;
    return std::exp( -distance * distance / ( 2 * sigma * sigma ) ) /
           ( sigma * static_cast<T>( RN_SQRT_OF_2_PI ) );
}

} // namespace Qv
