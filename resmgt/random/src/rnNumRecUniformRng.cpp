#include <resmgt/random/rnNumRecUniformRng.h>

#include <resmgt/random/src/rnState.h>

#include <base/failure/assertions.h>

namespace Qv {

namespace {

// The largest product, (M - 1) * IA + IC, just fits 32 bits.
constexpr std::uint32_t M = 1771875;
constexpr std::uint32_t IA = 2416;
constexpr std::uint32_t IC = 374441;
constexpr std::uint32_t SHUFFLESIZE = 97;

template <class T>
T toUnitInterval( std::uint32_t value ) {
    return static_cast<T>( value ) * ( T( 1 ) / static_cast<T>( M ) );
}

} // namespace

template <class T>
RnNumRecUniformRng<T>::RnNumRecUniformRng()
    : RnNumRecUniformRng( 0 ) {}

template <class T>
RnNumRecUniformRng<T>::RnNumRecUniformRng( unsigned int seed )
    : _seed( seed )
    , _table( SHUFFLESIZE ) {
    RnNumRecUniformRng::restart();
}

template <class T>
void RnNumRecUniformRng<T>::restart() {
    _idum = ( _seed + IC ) % M;
    for( std::uint32_t& value : _table ) {
        value = advance();
    }
    _last = advance();
}

template <class T>
void RnNumRecUniformRng<T>::restart( unsigned int seed ) {
    _seed = seed;
    restart();
}

template <class T>
std::uint32_t RnNumRecUniformRng<T>::advance() {
    _idum = ( _idum * IA + IC ) % M;
    return _idum;
}

template <class T>
std::uint32_t RnNumRecUniformRng<T>::next() {
    const auto j =
        static_cast<std::uint32_t>( static_cast<T>( SHUFFLESIZE ) * toUnitInterval<T>( _last ) );
    QV_ASSERT( j < SHUFFLESIZE );
    _last = _table[j];
    _table[j] = advance();
    return _last;
}

template <class T>
T RnNumRecUniformRng<T>::operator()() {
    return toUnitInterval<T>( next() );
}

template <class T>
void RnNumRecUniformRng<T>::getSequence( unsigned int n, T* values ) {
    for( unsigned int i = 0; i < n; ++i ) {
        values[i] = toUnitInterval<T>( next() );
    }
}

template <class T>
char const* RnNumRecUniformRng<T>::getName() const {
    return "Numerical Recipes RAN2";
}

template <class T>
std::string RnNumRecUniformRng<T>::getState() const {
    std::vector<std::uint64_t> numbers = { _seed, _idum, _last };
    numbers.insert( numbers.end(), _table.begin(), _table.end() );
    return writeRnState( getName(), numbers.data(), numbers.size() );
}

template <class T>
void RnNumRecUniformRng<T>::setState( std::string_view text ) {
    RnStateReader reader( getName(), text );
    RnNumRecUniformRng read( reader.next32() );
    read._idum = reader.next32( 0, M - 1 );
    read._last = reader.next32( 0, M - 1 );
    for( std::uint32_t& value : read._table ) {
        value = reader.next32( 0, M - 1 );
    }
    reader.end();
    *this = read; // Into the table that is there.
}

template <class T>
void RnNumRecUniformRng<T>::skip( std::uint64_t n ) {
    for( ; n > 0; --n ) {
        next();
    }
}

template class QV_INSTANCE_API RnNumRecUniformRng<float>;
template class QV_INSTANCE_API RnNumRecUniformRng<double>;

} // namespace Qv
