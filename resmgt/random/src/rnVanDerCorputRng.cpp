#include <resmgt/random/rnVanDerCorputRng.h>

#include <resmgt/random/src/rnState.h>
#include <resmgt/random/src/rnUnitValue.h>

#include <base/failure/assertions.h>

namespace Qv {

template <class T>
RnVanDerCorputRng<T>::RnVanDerCorputRng()
    : RnVanDerCorputRng( 2 ) {}

template <class T>
RnVanDerCorputRng<T>::RnVanDerCorputRng( unsigned int base ) {
    setBase( base );
}

template <class T>
T RnVanDerCorputRng<T>::next() {
    T result = 0;
    T weight = _reciprocal;
    for( std::uint32_t rest = ++_counter; rest != 0; rest /= _base ) {
        result += static_cast<T>( rest % _base ) * weight;
        weight *= _reciprocal;
    }
    return belowOne( result );
}

template <class T>
T RnVanDerCorputRng<T>::operator()() {
    return next();
}

template <class T>
void RnVanDerCorputRng<T>::getSequence( unsigned int n, T* values ) {
    for( unsigned int i = 0; i < n; ++i ) {
        values[i] = next();
    }
}

template <class T>
unsigned int RnVanDerCorputRng<T>::getBase() const {
    return _base;
}

template <class T>
void RnVanDerCorputRng<T>::setBase( unsigned int base ) {
    QV_ASSERT( base >= 2 );
    _base = base;
    _reciprocal = T( 1 ) / static_cast<T>( base );
}

template <class T>
std::uint32_t RnVanDerCorputRng<T>::getCounter() const {
    return _counter;
}

template <class T>
void RnVanDerCorputRng<T>::restart() {
    restart( 0 );
}

template <class T>
void RnVanDerCorputRng<T>::restart( unsigned int counter ) {
    _counter = counter;
}

template <class T>
char const* RnVanDerCorputRng<T>::getName() const {
    return "Van der Corput";
}

template <class T>
std::string RnVanDerCorputRng<T>::getState() const {
    return writeRnState( getName(), { _base, _counter } );
}

template <class T>
void RnVanDerCorputRng<T>::setState( std::string_view text ) {
    RnStateReader reader( getName(), text );
    RnVanDerCorputRng read( reader.next32( 2 ) );
    read._counter = reader.next32();
    reader.end();
    *this = read;
}

template <class T>
void RnVanDerCorputRng<T>::skip( std::uint64_t n ) {
    _counter += static_cast<std::uint32_t>( n );
}

template class QV_INSTANCE_API RnVanDerCorputRng<float>;
template class QV_INSTANCE_API RnVanDerCorputRng<double>;

} // namespace Qv
