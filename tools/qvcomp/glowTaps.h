#pragma once

#include <tools/qvcomp/filterTaps.h>

#include <vector>

namespace Qv::Comp {

/// Places that are evenly apart, by an odd number of positions, and as symmetrical to a line as its
/// positions are. All positions, if they are one apart; otherwise between any position and an end
/// there is another place.
struct Lattice {
    /// For light that is spread by a standard deviation of `sigma` positions.
    Lattice( double sigma, int lineSize );

    /// Of the cubic B-splines between the places, in positions squared.
    double getSplineVariance() const noexcept;

    int step;
    int count;
    int first;
};

/// A Gaussian's weights for the positions of a line, at the places of a lattice.
class GaussianTaps {
public:
    GaussianTaps( const Lattice& lattice, double variance, int lineSize );

    Taps at( int place ) const noexcept;
    /// Positions to each side.
    int getReach() const noexcept { return static_cast<int>( _weights.size() / 2 ); }

private:
    Lattice _lattice;
    int _lineSize;
    std::vector<float> _weights;
};

/// The weights of cubic B-splines at the places of a lattice for the positions between them, each
/// times a factor.
class SplineTaps {
public:
    SplineTaps( const Lattice& lattice, double factor );

    Taps at( int position ) const noexcept;

private:
    Lattice _lattice;
    std::vector<float> _weights;
    float _factor;
};

} // namespace Qv::Comp
