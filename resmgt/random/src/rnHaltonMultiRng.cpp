#include <resmgt/random/rnHaltonMultiRng.h>

#include <resmgt/random/src/rnDimensions.h>

namespace Qv {

template <class T, unsigned int N>
RnHaltonMultiRng<T, N>::RnHaltonMultiRng()
    : RnHaltonMultiRng( RN_PRIMES ) {}

template <class T, unsigned int N>
RnHaltonMultiRng<T, N>::RnHaltonMultiRng( unsigned int const* bases ) {
    setBases( _dimensions, bases );
}

template <class T, unsigned int N>
void RnHaltonMultiRng<T, N>::getSample( T* values ) {
    for( unsigned int i = 0; i < N; ++i ) {
        values[i] = _dimensions[i]();
    }
}

template <class T, unsigned int N>
void RnHaltonMultiRng<T, N>::getSequence( unsigned int n, T* const* values ) {
    for( unsigned int i = 0; i < N; ++i ) {
        _dimensions[i].getSequence( n, values[i] );
    }
}

template <class T, unsigned int N>
void RnHaltonMultiRng<T, N>::getPrimeNumbers( unsigned int* bases ) const {
    for( unsigned int i = 0; i < N; ++i ) {
        bases[i] = _dimensions[i].getBase();
    }
}

template <class T, unsigned int N>
void RnHaltonMultiRng<T, N>::setPrimeNumbers( unsigned int const* bases ) {
    setBases( _dimensions, bases );
}

template <class T, unsigned int N>
void RnHaltonMultiRng<T, N>::restart() {
    restart( 0 );
}

template <class T, unsigned int N>
void RnHaltonMultiRng<T, N>::restart( unsigned int counter ) {
    restartAll( _dimensions, counter );
}

template <class T, unsigned int N>
char const* RnHaltonMultiRng<T, N>::getName() const {
    return "Halton";
}

template <class T, unsigned int N>
std::string RnHaltonMultiRng<T, N>::getState() const {
    std::vector<std::uint64_t> numbers;
    appendState( _dimensions, numbers );
    return writeRnState( getName(), numbers.data(), numbers.size() );
}

template <class T, unsigned int N>
void RnHaltonMultiRng<T, N>::setState( std::string_view text ) {
    RnStateReader reader( getName(), text );
    const auto read = readDimensions<T, N>( reader );
    reader.end();
    _dimensions = read;
}

template <class T, unsigned int N>
void RnHaltonMultiRng<T, N>::skip( std::uint64_t n ) {
    skipInAll( _dimensions, n );
}

template class QV_INSTANCE_API RnHaltonMultiRng<float, 2>;
template class QV_INSTANCE_API RnHaltonMultiRng<double, 2>;
template class QV_INSTANCE_API RnHaltonMultiRng<float, 3>;
template class QV_INSTANCE_API RnHaltonMultiRng<double, 3>;
template class QV_INSTANCE_API RnHaltonMultiRng<float, 4>;
template class QV_INSTANCE_API RnHaltonMultiRng<double, 4>;

} // namespace Qv
