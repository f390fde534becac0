#include <resmgt/random/rnNumRecUniformRng.h>

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
    _y = toUnitInterval<T>( advance() );
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
T RnNumRecUniformRng<T>::operator()() {
    const auto j = static_cast<std::uint32_t>( static_cast<T>( SHUFFLESIZE ) * _y );
    QV_ASSERT( j < SHUFFLESIZE );
    _y = toUnitInterval<T>( _table[j] );
    _table[j] = advance();
    return _y;
}

template <class T>
void RnNumRecUniformRng<T>::getSample( T& value ) {
    value = ( *this )();
}

template <class T>
void RnNumRecUniformRng<T>::getSequence( unsigned int n, T* values ) {
    for( unsigned int i = 0; i < n; ++i ) {
        values[i] = ( *this )();
    }
}

template <class T>
T RnNumRecUniformRng<T>::getEfficientWidth() const {
    return 1;
}

template <class T>
T RnNumRecUniformRng<T>::getEfficientMin() const {
    return 0;
}

template <class T>
T RnNumRecUniformRng<T>::getEfficientMax() const {
    return 1;
}

template <class T>
T RnNumRecUniformRng<T>::getEfficientFraction() const {
    return 1;
}

template <class T>
T RnNumRecUniformRng<T>::getPdf( T x ) const {
    return x >= 0 && x < 1 ? T( 1 ) : T( 0 );
}

template <class T>
char const* RnNumRecUniformRng<T>::getName() const {
    return "Numerical Recipes RAN2";
}

template class QV_INSTANCE_API RnNumRecUniformRng<float>;
template class QV_INSTANCE_API RnNumRecUniformRng<double>;

} // namespace Qv
