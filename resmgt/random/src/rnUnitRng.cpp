#include <resmgt/random/rnUnitRng.h>

#include <algorithm>

namespace Qv {

namespace {

template <class T>
bool isWithin( T x ) {
    return x >= 0 && x < 1;
}

} // namespace

template <class T>
void RnUnitRng<T>::getSample( T& value ) {
    value = ( *this )();
}

template <class T>
T RnUnitRng<T>::getEfficientWidth() const {
    return 1;
}

template <class T>
T RnUnitRng<T>::getEfficientMin() const {
    return 0;
}

template <class T>
T RnUnitRng<T>::getEfficientMax() const {
    return 1;
}

template <class T>
T RnUnitRng<T>::getEfficientFraction() const {
    return 1;
}

template <class T>
T RnUnitRng<T>::getPdf( T x ) const {
    return isWithin( x ) ? T( 1 ) : T( 0 );
}

template <class T>
void RnUnitBiRng<T>::getEfficientWidth( T& x, T& y ) const {
    x = y = 1;
}

template <class T>
void RnUnitBiRng<T>::getEfficientMin( T& x, T& y ) const {
    x = y = 0;
}

template <class T>
void RnUnitBiRng<T>::getEfficientMax( T& x, T& y ) const {
    x = y = 1;
}

template <class T>
T RnUnitBiRng<T>::getEfficientFraction() const {
    return 1;
}

template <class T>
T RnUnitBiRng<T>::getPdf( T x, T y ) const {
    return isWithin( x ) && isWithin( y ) ? T( 1 ) : T( 0 );
}

template <class T, unsigned int N>
void RnUnitMultiRng<T, N>::getEfficientWidth( T* values ) const {
    std::fill_n( values, N, T( 1 ) );
}

template <class T, unsigned int N>
void RnUnitMultiRng<T, N>::getEfficientMin( T* values ) const {
    std::fill_n( values, N, T( 0 ) );
}

template <class T, unsigned int N>
void RnUnitMultiRng<T, N>::getEfficientMax( T* values ) const {
    std::fill_n( values, N, T( 1 ) );
}

template <class T, unsigned int N>
T RnUnitMultiRng<T, N>::getEfficientFraction() const {
    return 1;
}

template <class T, unsigned int N>
T RnUnitMultiRng<T, N>::getPdf( T const* values ) const {
    return std::all_of( values, values + N, isWithin<T> ) ? T( 1 ) : T( 0 );
}

template class QV_INSTANCE_API RnUnitRng<float>;
template class QV_INSTANCE_API RnUnitRng<double>;
template class QV_INSTANCE_API RnUnitBiRng<float>;
template class QV_INSTANCE_API RnUnitBiRng<double>;
template class QV_INSTANCE_API RnUnitMultiRng<float, 2>;
template class QV_INSTANCE_API RnUnitMultiRng<double, 2>;
template class QV_INSTANCE_API RnUnitMultiRng<float, 3>;
template class QV_INSTANCE_API RnUnitMultiRng<double, 3>;
template class QV_INSTANCE_API RnUnitMultiRng<float, 4>;
template class QV_INSTANCE_API RnUnitMultiRng<double, 4>;

} // namespace Qv
