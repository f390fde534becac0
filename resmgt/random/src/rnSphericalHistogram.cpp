#include <resmgt/random/rnSphericalHistogram.h>

#include <resmgt/random/src/rnInventor.h>
#include <resmgt/random/src/rnWeights.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>
#include <ostream>

namespace Qv {

namespace {

constexpr double PI = std::numbers::pi;

// Into [0, 2 pi), the last edge being 2 pi as T has it.
template <class T>
T wrapAzimuth( T azimuth, T full ) {
    const T rest = std::fmod( azimuth, full );
    // A little below 0 is a little below the end, whatever the sum rounds to.
    return rest < 0 ? std::min( rest + full, std::nextafter( full, T( 0 ) ) ) : rest;
}

} // namespace

template <class T>
RnSphericalHistogram<T>::RnSphericalHistogram( unsigned int nbCosines, unsigned int nbAzimuths )
    : _bins( nbCosines, -1, 1, nbAzimuths, 0, static_cast<T>( 2 * PI ) ) {}

template <class T>
bool RnSphericalHistogram<T>::addCosine( T cosine, T azimuth, double weight ) {
    checkRnWeight( weight );
    if( !std::isfinite( cosine ) || !std::isfinite( azimuth ) ) {
        return false;
    }
    // The pole is the last edge, which belongs to no bin of a histogram.
    const T highest = std::nextafter( T( 1 ), T( 0 ) );
    return _bins.add( std::clamp( cosine, T( -1 ), highest ),
                      wrapAzimuth( azimuth, static_cast<T>( 2 * PI ) ), weight );
}

template <class T>
bool RnSphericalHistogram<T>::addAngles( T polar, T azimuth, double weight ) {
    return addCosine( std::cos( polar ), azimuth, weight );
}

template <class T>
bool RnSphericalHistogram<T>::addXYZ( T x, T y, T z, double weight ) {
    // No vector is too long or too short for the sum of squares so; of the null vector it isn't
    // finite.
    const T unit = std::max( { std::abs( x ), std::abs( y ), std::abs( z ) } );
    const T length = std::hypot( x / unit, y / unit, z / unit );
    return addCosine( z / unit / length, std::atan2( y, x ), weight );
}

template <class T>
void RnSphericalHistogram<T>::clear() {
    _bins.clear();
}

template <class T>
const RnBiHistogram<T>& RnSphericalHistogram<T>::getBins() const {
    return _bins;
}

template <class T>
double RnSphericalHistogram<T>::getDensity( int cosineBin, int azimuthBin ) const {
    const double weight = _bins.getWeight( cosineBin, azimuthBin );
    const std::vector<double>& all = _bins.getWeights();
    const double total = std::accumulate( all.begin(), all.end(), 0.0 );
    return total > 0 ? weight / total * static_cast<double>( all.size() ) / ( 4 * PI ) : 0;
}

template <class T>
void RnSphericalHistogram<T>::dump( std::ostream& stream ) const {
    _bins.dump( stream );
}

template <class T>
void RnSphericalHistogram<T>::dumpInventor( std::ostream& stream ) const {
    RnInventorScene scene( stream );
    scene.beginPoints();
    const std::vector<double>& weights = _bins.getWeights();
    const auto nbAzimuths = static_cast<std::size_t>( _bins.getY().getNbBins() );
    const RnUnitScale lengths( weights );
    for( std::size_t bin = 0; bin < weights.size(); ++bin ) {
        const double cosine = 2 * getRnPlace( _bins.getX().getEdges(), bin / nbAzimuths ) - 1;
        const double azimuth = 2 * PI * getRnPlace( _bins.getY().getEdges(), bin % nbAzimuths );
        const double length = lengths( weights[bin] );
        const double across = length * std::sqrt( 1 - cosine * cosine );
        scene.addPoint( across * std::cos( azimuth ), across * std::sin( azimuth ),
                        length * cosine );
    }
    scene.endPoints();
    scene.addLines( "-1 -1 0, 0 0 1, +1 -1 0, 0 0 1, +1 +1 0, 0 0 1, -1 +1 0, 0 0 1, ", 4,
                    "orderedRGBA [ 0xffffffff ] " );
}

template class QV_INSTANCE_API RnSphericalHistogram<float>;
template class QV_INSTANCE_API RnSphericalHistogram<double>;

} // namespace Qv
