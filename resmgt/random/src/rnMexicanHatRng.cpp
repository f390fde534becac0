#include <resmgt/random/rnMexicanHatRng.h>

#include <base/failure/assertions.h>

#include <cmath>

namespace Qv {

template <class T>
RnMexicanHatRng<T>::RnMexicanHatRng( RnRng<T>* source )
    : RnMexicanHatRng( source, 0, 1 ) {}

template <class T>
RnMexicanHatRng<T>::RnMexicanHatRng( RnRng<T>* rng, T centre, T width )
    : _uniRng( rng )
    , _centre( centre )
    , _halfwidth( width / 2 ) {
    QV_ASSERT_TEXT( rng != nullptr, "rng != 0" );
    QV_ASSERT( _halfwidth > 0 );
    QV_ASSERT( _uniRng );
}

template <class T>
T RnMexicanHatRng<T>::map( T u ) const {
    const T t = u < T( 0.5 ) ? std::sqrt( 2 * u ) - 1 : 1 - std::sqrt( 2 * ( 1 - u ) );
    return t * _halfwidth + _centre;
}

template <class T>
T RnMexicanHatRng<T>::operator()() {
    return map( ( *_uniRng )() );
}

template <class T>
void RnMexicanHatRng<T>::getSample( T& value ) {
    value = ( *this )();
}

template <class T>
void RnMexicanHatRng<T>::getSequence( unsigned int n, T* values ) {
    _uniRng->getSequence( n, values );
    for( unsigned int i = 0; i < n; ++i ) {
        values[i] = map( values[i] );
    }
}

template <class T>
T RnMexicanHatRng<T>::getEfficientWidth() const {
    return 2 * _halfwidth;
}

template <class T>
T RnMexicanHatRng<T>::getEfficientMin() const {
    return _centre - _halfwidth;
}

template <class T>
T RnMexicanHatRng<T>::getEfficientMax() const {
    return _centre + _halfwidth;
}

template <class T>
T RnMexicanHatRng<T>::getEfficientFraction() const {
    return 1;
}

template <class T>
T RnMexicanHatRng<T>::getPdf( T x ) const {
    const T height = 1 - std::abs( x - _centre ) / _halfwidth;
    return height > 0 ? height / _halfwidth : 0;
}

template <class T>
void RnMexicanHatRng<T>::restart() {
    _uniRng->restart();
}

template <class T>
char const* RnMexicanHatRng<T>::getName() const {
    return "Mexican Hat";
}

template class QV_INSTANCE_API RnMexicanHatRng<float>;
template class QV_INSTANCE_API RnMexicanHatRng<double>;

} // namespace Qv
