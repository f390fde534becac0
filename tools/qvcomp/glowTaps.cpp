#include <tools/qvcomp/glowTaps.h>

#include <algorithm>
#include <cmath>

namespace Qv::Comp {

namespace {

/// Columns are so far apart at most, in standard deviations: the splines' deviation from a
/// Gaussian, of which the fourth cumulant is the largest part, grows with the fourth power of that.
/// This makes it 2e-4 of the peak.
constexpr double LARGEST_STEP = 1.0 / 2.5;
/// A Gaussian is cut off so many standard deviations from its middle, where it has 3e-4 of its
/// peak.
constexpr double REACH = 4.0;

} // namespace

Lattice::Lattice( double sigma, int lineSize )
    : step( std::max( ( static_cast<int>( sigma * LARGEST_STEP ) - 1 ) / 2 * 2 + 1, 1 ) )
    , count( lineSize )
    , first( 0 ) {
    if( step > 1 ) {
        const int last = lineSize - 1;
        const int steps = ( last + 2 * step ) / step + 1;
        count = 1 + steps + ( steps + last ) % 2;
        first = ( last - ( count - 1 ) * step ) / 2;
    }
}

double Lattice::getSplineVariance() const noexcept {
    return step == 1 ? 0.0 : step * static_cast<double>( step ) / 3.0;
}

GaussianTaps::GaussianTaps( const Lattice& lattice, double variance, int lineSize )
    : _lattice( lattice )
    , _lineSize( lineSize ) {
    const int radius = static_cast<int>( std::ceil( REACH * std::sqrt( variance ) ) );
    std::vector<double> exact;
    double sum = 0.0;
    for( int k = -radius; k <= radius; ++k ) {
        exact.push_back( std::exp( -0.5 * k * k / variance ) );
        sum += exact.back();
    }
    for( const double weight : exact ) {
        _weights.push_back( static_cast<float>( weight / sum ) );
    }
}

Taps GaussianTaps::at( int place ) const noexcept {
    const int first =
        _lattice.first + place * _lattice.step - static_cast<int>( _weights.size() / 2 );
    return Taps{ first, _weights }.within( 0, _lineSize );
}

SplineTaps::SplineTaps( const Lattice& lattice, double factor )
    : _lattice( lattice ) {
    for( int phase = 0; phase < lattice.step; ++phase ) {
        const double t = static_cast<double>( phase ) / lattice.step;
        const double u = 1.0 - t;
        for( const double spline : { u * u * u, 4.0 - 6.0 * t * t + 3.0 * t * t * t,
                                     4.0 - 6.0 * u * u + 3.0 * u * u * u, t * t * t } ) {
            _weights.push_back( static_cast<float>( factor * spline / 6.0 ) );
        }
    }
    _factor = static_cast<float>( factor );
}

Taps SplineTaps::at( int position ) const noexcept {
    if( _lattice.step == 1 ) {
        return { position, { &_factor, 1 } };
    }
    const int distance = position - _lattice.first;
    const int phase = distance % _lattice.step;
    return { distance / _lattice.step - 1,
             std::span( _weights ).subspan( static_cast<std::size_t>( phase ) * 4, 4 ) };
}

} // namespace Qv::Comp
