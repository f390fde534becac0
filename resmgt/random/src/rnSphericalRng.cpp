#include <resmgt/random/rnSphericalRng.h>

#include <base/failure/assertions.h>

#include <algorithm>
#include <cmath>

namespace Qv {

namespace {

template <class T>
void toAzimuths( unsigned int n, T* vs ) {
    for( unsigned int i = 0; i < n; ++i ) {
        vs[i] *= T( 6.283185307179586 );
    }
}

// (cosine, azimuth) becomes (x, y, z).
template <class T>
void toXYZ( T& x, T& y, T& z ) {
    const T cosine = x;
    const T azimuth = y;
    const T sine = std::sqrt( std::max( ( 1 - cosine ) * ( 1 + cosine ), T( 0 ) ) );
    x = sine * std::cos( azimuth );
    y = sine * std::sin( azimuth );
    z = cosine;
}

} // namespace

template <class T>
RnSphericalRng<T>::RnSphericalRng( RnBiRng<T>* source )
    : _rng( source ) {
    QV_ASSERT( _rng );
}

template <class T>
RnSphericalRng<T>::~RnSphericalRng() = default;

template <class T>
void RnSphericalRng<T>::getSampleCosine( T& cosine, T& azimuth ) {
    T u;
    T v;
    _rng->getSample( u, v );
    mapCosine( u, v, cosine, azimuth );
}

template <class T>
void RnSphericalRng<T>::getSampleAngles( T& polar, T& azimuth ) {
    T u;
    T v;
    _rng->getSample( u, v );
    mapAngles( u, v, polar, azimuth );
}

template <class T>
void RnSphericalRng<T>::getSampleXYZ( T& x, T& y, T& z ) {
    T u;
    T v;
    _rng->getSample( u, v );
    mapXYZ( u, v, x, y, z );
}

template <class T>
void RnSphericalRng<T>::getSequenceCosine( unsigned int n, T* cosines, T* azimuths ) {
    _rng->getSequence( n, cosines, azimuths );
    toCosines( n, cosines );
    toAzimuths( n, azimuths );
}

template <class T>
void RnSphericalRng<T>::getSequenceAngles( unsigned int n, T* polars, T* azimuths ) {
    getSequenceCosine( n, polars, azimuths );
    for( unsigned int i = 0; i < n; ++i ) {
        polars[i] = std::acos( polars[i] );
    }
}

template <class T>
void RnSphericalRng<T>::getSequenceXYZ( unsigned int n, T* xs, T* ys, T* zs ) {
    getSequenceCosine( n, xs, ys );
    for( unsigned int i = 0; i < n; ++i ) {
        toXYZ( xs[i], ys[i], zs[i] );
    }
}

template <class T>
void RnSphericalRng<T>::mapCosine( T u, T v, T& cosine, T& azimuth ) const {
    toCosines( 1, &u );
    toAzimuths( 1, &v );
    cosine = u;
    azimuth = v;
}

template <class T>
void RnSphericalRng<T>::mapAngles( T u, T v, T& polar, T& azimuth ) const {
    mapCosine( u, v, polar, azimuth );
    polar = std::acos( polar );
}

template <class T>
void RnSphericalRng<T>::mapXYZ( T u, T v, T& x, T& y, T& z ) const {
    mapCosine( u, v, x, y );
    toXYZ( x, y, z );
}

template <class T>
T RnSphericalRng<T>::getPdfCosine( T cosine, T /*azimuth*/ ) const {
    return getDensity( std::clamp( cosine, T( -1 ), T( 1 ) ) );
}

template <class T>
T RnSphericalRng<T>::getPdfAngles( T polar, T azimuth ) const {
    // A quarter turn is rounded, in float upwards, where its cosine is below the horizon.
    const T lowest = std::abs( polar ) <= std::acos( T( 0 ) ) ? T( 0 ) : T( -1 );
    return getPdfCosine( std::max( std::cos( polar ), lowest ), azimuth );
}

template <class T>
T RnSphericalRng<T>::getPdfXYZ( T /*x*/, T /*y*/, T z ) const {
    return getPdfCosine( z );
}

template <class T>
void RnSphericalRng<T>::restart() {
    _rng->restart();
}

template class QV_INSTANCE_API RnSphericalRng<float>;
template class QV_INSTANCE_API RnSphericalRng<double>;

} // namespace Qv
