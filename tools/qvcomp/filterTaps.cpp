#include <tools/qvcomp/filterTaps.h>

#include <algorithm>
#include <cmath>

namespace Qv::Comp {

namespace {

/// Half the filter's width in positions of the coarser line.
constexpr double SUPPORT = 2.0;

double evaluateBicubic( double distance ) noexcept {
    constexpr double B = 1.0 / 3.0;
    constexpr double C = 1.0 / 3.0;
    const double x = std::abs( distance );
    if( x < 1.0 ) {
        return ( ( 12 - 9 * B - 6 * C ) * x * x * x + ( -18 + 12 * B + 6 * C ) * x * x +
                 ( 6 - 2 * B ) ) /
               6;
    }
    if( x < SUPPORT ) {
        return ( ( -B - 6 * C ) * x * x * x + ( 6 * B + 30 * C ) * x * x +
                 ( -12 * B - 48 * C ) * x + ( 8 * B + 24 * C ) ) /
               6;
    }
    return 0.0;
}

} // namespace

FilterTaps::FilterTaps( int sourceSize, int targetSize, double scale ) {
    const double widening = std::max( 1.0, 1.0 / scale );
    std::vector<double> weights;
    _offsets.push_back( 0 );
    for( int target = 0; target < targetSize; ++target ) {
        const double centre = ( target + 0.5 - targetSize / 2.0 ) / scale + sourceSize / 2.0 - 0.5;
        const double reach = SUPPORT * widening;
        const int first = static_cast<int>( std::max( 0.0, std::ceil( centre - reach ) ) );
        const int last =
            static_cast<int>( std::min( sourceSize - 1.0, std::floor( centre + reach ) ) );
        weights.clear();
        double sum = 0.0;
        for( int source = first; source <= last; ++source ) {
            weights.push_back( evaluateBicubic( ( source - centre ) / widening ) );
            sum += weights.back();
        }
        _firsts.push_back( first );
        for( const double weight : weights ) {
            _weights.push_back( static_cast<float>( weight / sum ) );
        }
        _offsets.push_back( _weights.size() );
    }
}

Taps FilterTaps::at( int target ) const noexcept {
    const auto i = static_cast<std::size_t>( target );
    return { _firsts[i],
             std::span( _weights ).subspan( _offsets[i], _offsets[i + 1] - _offsets[i] ) };
}

} // namespace Qv::Comp
