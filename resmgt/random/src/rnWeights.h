#pragma once

#include <base/failure/assertions.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <vector>

namespace Qv {

inline void checkRnWeight( double weight ) {
    QV_ASSERT( weight >= 0 );
    QV_ASSERT( std::isfinite( weight ) );
}

/// Brings weights into 0 ... 1, by the largest one.
class RnUnitScale {
public:
    explicit RnUnitScale( const std::vector<double>& weights )
        : _largest( weights.empty() ? 0 : *std::max_element( weights.begin(), weights.end() ) ) {}

    double operator()( double weight ) const { return _largest > 0 ? weight / _largest : 0; }

private:
    double _largest;
};

/// The middle of a bin, as a share of the way from the first edge to the last one.
template <class T>
double getRnPlace( const std::vector<T>& edges, std::size_t bin ) {
    const double begin = edges.front();
    const double middle =
        std::midpoint( static_cast<double>( edges[bin] ), static_cast<double>( edges[bin + 1] ) );
    return ( middle - begin ) / ( edges.back() - begin );
}

} // namespace Qv
