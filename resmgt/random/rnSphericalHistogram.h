#pragma once

#include <resmgt/random/rnBiHistogram.h>

#include <iosfwd>

namespace Qv {

/// A table of bins over the directions, all of the same solid angle: `nbCosines` equal parts of the
/// cosine of the polar angle, -1 ... 1, by `nbAzimuths` of the azimuth, 0 ... 2 pi. z is the pole.
///
/// Every direction is in a bin: both poles belong to the bins beside them, a cosine beyond 1 by
/// rounding too, and an azimuth counts modulo 2 pi. What isn't finite is in none. Weights and
/// errors are as those of RnHistogram.
template <class T>
class QV_TEMPLATE_API RnSphericalHistogram {
public:
    RnSphericalHistogram( unsigned int nbCosines, unsigned int nbAzimuths );

    /// Adds a weight to the bin that holds a direction, and returns whether there is one.
    bool addCosine( T cosine, T azimuth, double weight = 1 );
    /// The same for a direction by its angles.
    bool addAngles( T polar, T azimuth, double weight = 1 );
    /// The vector may have any length; the null vector has no direction.
    bool addXYZ( T x, T y, T z, double weight = 1 );
    /// Forgets all that was added.
    void clear();

    /// The weights by cosine, x, and azimuth, y.
    const RnBiHistogram<T>& getBins() const;
    /// The share of the weight that lies in a bin, per steradian; 0 while there is no weight.
    double getDensity( int cosineBin, int azimuthBin ) const;

    /// Writes one line a bin: its edges and its weight.
    void dump( std::ostream& stream ) const;
    /// Writes the scene of the histogram for a viewer of Inventor files: a point a bin, in its
    /// direction and as far out as its density beside the highest, and lines from four corners to
    /// the pole.
    void dumpInventor( std::ostream& stream ) const;

private:
    RnBiHistogram<T> _bins;
};

extern template class RnSphericalHistogram<float>;
extern template class RnSphericalHistogram<double>;

} // namespace Qv
