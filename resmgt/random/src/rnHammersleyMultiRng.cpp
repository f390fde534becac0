#include <resmgt/random/rnHammersleyMultiRng.h>

#include <resmgt/random/src/rnDimensions.h>
#include <resmgt/random/src/rnUnitValue.h>

#include <base/failure/assertions.h>

namespace Qv {

template <class T, unsigned int N>
RnHammersleyMultiRng<T, N>::RnHammersleyMultiRng( unsigned int length )
    : RnHammersleyMultiRng( length, RN_PRIMES ) {}

template <class T, unsigned int N>
RnHammersleyMultiRng<T, N>::RnHammersleyMultiRng( unsigned int length, unsigned int const* bases )
    : _length( length ) {
    QV_ASSERT( _length > 0 );
    setBases( _others, bases );
}

template <class T, unsigned int N>
T RnHammersleyMultiRng<T, N>::getFirst( std::uint32_t index ) const {
    return belowOne( static_cast<T>( ( index + 0.5 ) / _length ) );
}

template <class T, unsigned int N>
void RnHammersleyMultiRng<T, N>::getSample( T* values ) {
    values[0] = getFirst( _index );
    for( unsigned int i = 1; i < N; ++i ) {
        values[i] = _others[i - 1]();
    }
    _index = _index + 1 < _length ? _index + 1 : 0;
}

template <class T, unsigned int N>
void RnHammersleyMultiRng<T, N>::getSequence( unsigned int n, T* const* values ) {
    QV_ASSERT( n <= _length );
    T* const first = values[0];
    const unsigned int nbPairs = n / 2;
    for( unsigned int i = 0; i < nbPairs; ++i ) {
        first[2 * i] = getFirst( 2 * i );
        first[2 * i + 1] = getFirst( 2 * i + 1 );
    }
    if( n % 2 != 0 ) {
        first[n - 1] = getFirst( n - 1 );
    }
    for( unsigned int i = 1; i < N; ++i ) {
        _others[i - 1].getSequence( n, values[i] );
    }
}

template <class T, unsigned int N>
void RnHammersleyMultiRng<T, N>::restart() {
    _index = 0;
    restartAll( _others, 0 );
}

template <class T, unsigned int N>
char const* RnHammersleyMultiRng<T, N>::getName() const {
    return "Hammersley";
}

template <class T, unsigned int N>
std::string RnHammersleyMultiRng<T, N>::getState() const {
    std::vector<std::uint64_t> numbers = { _length, _index };
    appendState( _others, numbers );
    return writeRnState( getName(), numbers.data(), numbers.size() );
}

template <class T, unsigned int N>
void RnHammersleyMultiRng<T, N>::setState( std::string_view text ) {
    RnStateReader reader( getName(), text );
    const std::uint32_t length = reader.next32( 1 );
    const std::uint32_t index = reader.next32( 0, length - 1 );
    const auto others = readDimensions<T, N - 1>( reader );
    reader.end();
    _length = length;
    _index = index;
    _others = others;
}

template <class T, unsigned int N>
void RnHammersleyMultiRng<T, N>::skip( std::uint64_t n ) {
    _index = static_cast<std::uint32_t>( ( _index + n % _length ) % _length );
    skipInAll( _others, n );
}

template class QV_INSTANCE_API RnHammersleyMultiRng<float, 2>;
template class QV_INSTANCE_API RnHammersleyMultiRng<double, 2>;
template class QV_INSTANCE_API RnHammersleyMultiRng<float, 3>;
template class QV_INSTANCE_API RnHammersleyMultiRng<double, 3>;
template class QV_INSTANCE_API RnHammersleyMultiRng<float, 4>;
template class QV_INSTANCE_API RnHammersleyMultiRng<double, 4>;

} // namespace Qv
