#include <resmgt/random/rnHaltonBiRng.h>

namespace Qv {

template <class T>
RnHaltonBiRng<T>::RnHaltonBiRng()
    : RnPairRng<T, RnHaltonMultiRng<T, 2>>( RnHaltonMultiRng<T, 2>() ) {}

template <class T>
RnHaltonBiRng<T>::RnHaltonBiRng( unsigned int base0, unsigned int base1 )
    : RnHaltonBiRng() {
    const unsigned int bases[] = { base0, base1 };
    setPrimeNumbers( bases );
}

template <class T>
void RnHaltonBiRng<T>::getPrimeNumbers( unsigned int* bases ) const {
    this->_multi.getPrimeNumbers( bases );
}

template <class T>
void RnHaltonBiRng<T>::setPrimeNumbers( unsigned int const* bases ) {
    this->_multi.setPrimeNumbers( bases );
}

template <class T>
void RnHaltonBiRng<T>::restart( unsigned int counter ) {
    this->_multi.restart( counter );
}

template class QV_INSTANCE_API RnHaltonBiRng<float>;
template class QV_INSTANCE_API RnHaltonBiRng<double>;

} // namespace Qv
