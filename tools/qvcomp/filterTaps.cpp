#include <tools/qvcomp/filterTaps.h>

#include <algorithm>
#include <cmath>

namespace Qv::Comp {

namespace {

/// Half the filter's width in positions of the coarser line.
constexpr double SUPPORT = 2.0;
/// The same of its positive part.
constexpr double POSITIVE_SUPPORT = 8.0 / 7.0;

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

/// The part of the position that the line covers. What rounding leaves of 0 and of 1 is nothing.
double getCoverage( const AxisPlacement& axis, int target ) noexcept {
    constexpr double ROUNDING = 1e-6;
    const double begin = std::max<double>( target, axis.origin );
    const double end = std::min( target + 1.0, axis.origin + axis.sourceSize * axis.scale );
    const double covered = end - begin;
    return covered > 1.0 - ROUNDING ? 1.0 : covered < ROUNDING ? 0.0 : covered;
}

} // namespace

FilterTaps::FilterTaps( const AxisPlacement& axis, int targetSize, Lobes lobes ) {
    _firsts.reserve( static_cast<std::size_t>( targetSize ) );
    _offsets.reserve( static_cast<std::size_t>( targetSize ) + 1 );
    for( int target = 0; target < targetSize; ++target ) {
        add( axis, target, lobes );
        _offsets.push_back( _weights.size() );
    }
    // There are several for each layer.
    _weights.shrink_to_fit();
}

void FilterTaps::add( const AxisPlacement& axis, int target, Lobes lobes ) {
    const double last = axis.sourceSize - 1.0;
    const double coverage = getCoverage( axis, target );
    // The middle of a position that the line covers in part may be beside it.
    const double centre =
        std::clamp( ( target + 0.5 - axis.origin ) / axis.scale - 0.5, -0.5, last + 0.5 );
    if( coverage == 0.0 ) {
        _firsts.push_back( centre < 0.0 ? 0 : axis.sourceSize );
        return;
    }
    const double widening = std::max( 1.0, 1.0 / axis.scale );
    const double support = lobes == Lobes::ALL ? SUPPORT : POSITIVE_SUPPORT;
    const double reach = axis.isUntouched() ? 0.0 : support * widening;
    const double first = std::max( 0.0, std::ceil( centre - reach ) );
    std::vector<double> weights;
    double sum = 0.0;
    for( double k = first; k <= std::min( last, centre + reach ); ++k ) {
        weights.push_back( evaluateBicubic( ( k - centre ) / widening ) );
        sum += weights.back();
    }
    _firsts.push_back( static_cast<int>( first ) );
    for( const double weight : weights ) {
        _weights.push_back( static_cast<float>( weight / sum * coverage ) );
    }
}

Taps FilterTaps::at( int target ) const noexcept {
    const auto i = static_cast<std::size_t>( target );
    return { _firsts[i],
             std::span( _weights ).subspan( _offsets[i], _offsets[i + 1] - _offsets[i] ) };
}

} // namespace Qv::Comp
