#pragma once

#include <resmgt/random/rnBiRng.h>

namespace Qv {

/// A stream of random directions, in three views: the cosine of the polar angle and the azimuth,
/// both angles, a unit vector. Angles are in radians, the azimuth is in 0 ... 2 pi, z is the pole.
/// A view's sample is one sample of the source, mapped.
///
/// Source:    fills the unit square; isn't owned and must outlive this object. Asserts that there
///            is one.
/// Densities: those of all views are per steradian. A cosine beyond -1 ... 1 by rounding counts as
///            the pole's, and the polar angle that acos( 0 ) gives as the horizon's.
/// Threads:   as for RnRng; the `map` operations touch no source and may be called by any thread.
template <class T>
class QV_TEMPLATE_API RnSphericalRng {
public:
    RnSphericalRng( const RnSphericalRng& ) = default;
    RnSphericalRng& operator=( const RnSphericalRng& ) = default;
    virtual ~RnSphericalRng();

    void getSampleCosine( T& cosine, T& azimuth );
    void getSampleAngles( T& polar, T& azimuth );
    void getSampleXYZ( T& x, T& y, T& z );

    /// The next `n` directions, by one call of the source's getSequence().
    void getSequenceCosine( unsigned int n, T* cosines, T* azimuths );
    void getSequenceAngles( unsigned int n, T* polars, T* azimuths );
    void getSequenceXYZ( unsigned int n, T* xs, T* ys, T* zs );

    /// The direction that belongs to a point of the unit square.
    void mapCosine( T u, T v, T& cosine, T& azimuth ) const;
    /// The same as angles.
    void mapAngles( T u, T v, T& polar, T& azimuth ) const;
    /// The same as a unit vector.
    void mapXYZ( T u, T v, T& x, T& y, T& z ) const;

    /// None depends on the azimuth.
    T getPdfCosine( T cosine, T azimuth = 0 ) const;
    T getPdfAngles( T polar, T azimuth = 0 ) const;
    /// Of a unit vector.
    T getPdfXYZ( T x, T y, T z ) const;

    /// Restarts the source.
    void restart();
    virtual char const* getName() const = 0;

protected:
    explicit RnSphericalRng( RnBiRng<T>* source );

private:
    /// Makes cosines of `n` first coordinates of the unit square, in place.
    virtual void toCosines( unsigned int n, T* us ) const = 0;
    /// The density where the polar angle has this cosine, within -1 ... 1.
    virtual T getDensity( T cosine ) const = 0;

    RnBiRng<T>* _rng;
};

extern template class RnSphericalRng<float>;
extern template class RnSphericalRng<double>;

} // namespace Qv
