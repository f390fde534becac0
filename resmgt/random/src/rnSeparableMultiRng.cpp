#include <resmgt/random/rnSeparableMultiRng.h>

#include <base/failure/assertions.h>

#include <algorithm>

namespace Qv {

template <class T, unsigned int N>
RnSeparableMultiRng<T, N>::RnSeparableMultiRng( RnRng<T>* source )
    : _uniRng( source ) {
    QV_ASSERT( _uniRng );
}

template <class T, unsigned int N>
void RnSeparableMultiRng<T, N>::getSample( T* values ) {
    for( unsigned int i = 0; i < N; ++i ) {
        values[i] = ( *_uniRng )();
    }
}

template <class T, unsigned int N>
void RnSeparableMultiRng<T, N>::getSequence( unsigned int n, T* const* values ) {
    for( unsigned int i = 0; i < N; ++i ) {
        _uniRng->getSequence( n, values[i] );
    }
}

template <class T, unsigned int N>
void RnSeparableMultiRng<T, N>::getEfficientWidth( T* values ) const {
    std::fill_n( values, N, _uniRng->getEfficientWidth() );
}

template <class T, unsigned int N>
void RnSeparableMultiRng<T, N>::getEfficientMin( T* values ) const {
    std::fill_n( values, N, _uniRng->getEfficientMin() );
}

template <class T, unsigned int N>
void RnSeparableMultiRng<T, N>::getEfficientMax( T* values ) const {
    std::fill_n( values, N, _uniRng->getEfficientMax() );
}

template <class T, unsigned int N>
T RnSeparableMultiRng<T, N>::getEfficientFraction() const {
    T product = 1;
    for( unsigned int i = 0; i < N; ++i ) {
        product *= _uniRng->getEfficientFraction();
    }
    return product;
}

template <class T, unsigned int N>
T RnSeparableMultiRng<T, N>::getPdf( T const* values ) const {
    T product = 1;
    for( unsigned int i = 0; i < N; ++i ) {
        product *= _uniRng->getPdf( values[i] );
    }
    return product;
}

template <class T, unsigned int N>
void RnSeparableMultiRng<T, N>::restart() {
    _uniRng->restart();
}

template <class T, unsigned int N>
char const* RnSeparableMultiRng<T, N>::getName() const {
    return "Multi Separable";
}

template class QV_INSTANCE_API RnSeparableMultiRng<float, 2>;
template class QV_INSTANCE_API RnSeparableMultiRng<double, 2>;
template class QV_INSTANCE_API RnSeparableMultiRng<float, 3>;
template class QV_INSTANCE_API RnSeparableMultiRng<double, 3>;
template class QV_INSTANCE_API RnSeparableMultiRng<float, 4>;
template class QV_INSTANCE_API RnSeparableMultiRng<double, 4>;

} // namespace Qv
