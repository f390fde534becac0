#include <resmgt/random/rnNormalRng.h>

#include <base/failure/assertions.h>

#include <cmath>

namespace Qv {

namespace {

constexpr double SIGMAS_OF_BOX = 4;
constexpr double NORMAL_FRACTION = 0.99993666;
constexpr double SQRT_OF_2_PI = 2.5066282746310002;

} // namespace

template <class T>
RnNormalRng<T>::RnNormalRng( RnRng<T>* source, T mean, T sigma )
    : _uniRng( source )
    , _mean( mean )
    , _sigma( sigma ) {
    QV_ASSERT( _uniRng );
    QV_ASSERT( _sigma > 0 );
}

template <class T>
void RnNormalRng<T>::getSample( T& value ) {
    value = ( *this )();
}

template <class T>
T RnNormalRng<T>::getEfficientWidth() const {
    return T( SIGMAS_OF_BOX ) * _sigma;
}

template <class T>
T RnNormalRng<T>::getEfficientMin() const {
    return _mean - getEfficientWidth() / 2;
}

template <class T>
T RnNormalRng<T>::getEfficientMax() const {
    return _mean + getEfficientWidth() / 2;
}

template <class T>
T RnNormalRng<T>::getEfficientFraction() const {
    return static_cast<T>( NORMAL_FRACTION );
}

template <class T>
T RnNormalRng<T>::getPdf( T x ) const {
    const T distance = x - _mean;
    return std::exp( -distance * distance / ( 2 * _sigma * _sigma ) ) /
           ( _sigma * static_cast<T>( SQRT_OF_2_PI ) );
}

template <class T>
void RnNormalRng<T>::restart() {
    _uniRng->restart();
}

template class QV_INSTANCE_API RnNormalRng<float>;
template class QV_INSTANCE_API RnNormalRng<double>;

} // namespace Qv
