#include <resmgt/random/rnIndependentBiRng.h>

namespace Qv {

template <class T>
RnIndependentBiRng<T>::RnIndependentBiRng( RnRng<T>* xSource, RnRng<T>* ySource )
    : _xSource( xSource )
    , _ySource( ySource ) {}

template <class T>
void RnIndependentBiRng<T>::getSample( T& x, T& y ) {
    x = ( *_xSource )();
    y = ( *_ySource )();
}

template <class T>
void RnIndependentBiRng<T>::getSequence( unsigned int n, T* xs, T* ys ) {
    _xSource->getSequence( n, xs );
    _ySource->getSequence( n, ys );
}

template <class T>
void RnIndependentBiRng<T>::getEfficientWidth( T& x, T& y ) const {
    x = _xSource->getEfficientWidth();
    y = _ySource->getEfficientWidth();
}

template <class T>
void RnIndependentBiRng<T>::getEfficientMin( T& x, T& y ) const {
    x = _xSource->getEfficientMin();
    y = _ySource->getEfficientMin();
}

template <class T>
void RnIndependentBiRng<T>::getEfficientMax( T& x, T& y ) const {
    x = _xSource->getEfficientMax();
    y = _ySource->getEfficientMax();
}

template <class T>
T RnIndependentBiRng<T>::getEfficientFraction() const {
    return _xSource->getEfficientFraction() * _ySource->getEfficientFraction();
}

template <class T>
T RnIndependentBiRng<T>::getPdf( T x, T y ) const {
    return _xSource->getPdf( x ) * _ySource->getPdf( y );
}

template class QV_INSTANCE_API RnIndependentBiRng<float>;
template class QV_INSTANCE_API RnIndependentBiRng<double>;

} // namespace Qv
