#include <resmgt/random/rnUniformHistogram.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Qv {

template <class T>
RnUniformHistogram<T>::RnUniformHistogram( unsigned int nbBins, T min, T max )
    : RnHistogram<T>( nbBins, min, max )
    , _min( min )
    , _width( max - min ) {}

template <class T>
int RnUniformHistogram<T>::find( T x ) const {
    const int nbBins = this->getNbBins();
    if( nbBins == 0 || std::isnan( x ) ) {
        return -1;
    }
    constexpr double lowest = std::numeric_limits<int>::min();
    constexpr double highest = std::numeric_limits<int>::max();
    const T distance = x - _min;
    const T product = static_cast<T>( nbBins ) * distance;
    // A table as wide as the type's range has bins whose product isn't in it.
    const T bin = std::isfinite( product ) ? product / _width
                                           : static_cast<T>( nbBins ) * ( distance / _width );
    return static_cast<int>( std::clamp( std::floor( double( bin ) ), lowest, highest ) );
}

template class QV_INSTANCE_API RnUniformHistogram<float>;
template class QV_INSTANCE_API RnUniformHistogram<double>;

} // namespace Qv
