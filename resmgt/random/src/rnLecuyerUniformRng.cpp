#include <resmgt/random/rnLecuyerUniformRng.h>

#include <resmgt/random/src/rnState.h>
#include <resmgt/random/src/rnUnitValue.h>

namespace Qv {

namespace {

// Both moduli are a little below 2^31, which makes remainders cheap.
constexpr std::uint32_t C1 = 85;
constexpr std::uint32_t C2 = 249;
constexpr std::uint32_t M1 = 0x80000000u - C1;
constexpr std::uint32_t M2 = 0x80000000u - C2;
constexpr std::uint32_t A1 = 40014;
constexpr std::uint32_t A2 = 40692;
constexpr std::uint32_t SEED1 = 55555;
constexpr std::uint32_t SEED2 = 99999;
static_assert( M1 == 2147483563 && M2 == 2147483399 );

// a * b modulo 2^31 - C, of factors below it: 2^31 is C, and twice replaced so leaves at most one
// modulus too much. Schrage's method gives the same with divisions.
template <std::uint32_t C>
constexpr std::uint32_t multiply( std::uint32_t a, std::uint32_t b ) {
    constexpr std::uint32_t mask = 0x7fffffff;
    const std::uint64_t product = std::uint64_t( a ) * b;
    const std::uint64_t once = ( product & mask ) + C * ( product >> 31 );
    const auto twice = static_cast<std::uint32_t>( ( once & mask ) + C * ( once >> 31 ) );
    const std::uint32_t less = twice - ( 0x80000000u - C );
    return less < twice ? less : twice;
}

template <std::uint32_t C>
constexpr std::uint32_t power( std::uint32_t base, std::uint64_t exponent ) {
    std::uint32_t result = 1;
    for( ; exponent > 0; exponent >>= 1 ) {
        if( ( exponent & 1 ) != 0 ) {
            result = multiply<C>( result, base );
        }
        base = multiply<C>( base, base );
    }
    return result;
}

std::uint32_t toState( std::uint32_t seed, std::uint32_t modulus, std::uint32_t standard ) {
    return seed == 0 ? standard : 1 + ( seed - 1 ) % ( modulus - 1 );
}

template <class T>
T combine( std::uint32_t s1, std::uint32_t s2 ) {
    const auto difference = static_cast<std::int32_t>( s1 + s2 - M1 );
    const std::int32_t z =
        difference < 1 ? difference + static_cast<std::int32_t>( M1 - 1 ) : difference;
    return belowOne( static_cast<T>( z ) * static_cast<T>( 1.0 / M1 ) );
}

// So many values are made side by side, each the fourth behind the one before it in its lane.
constexpr unsigned int NB_LANES = 4;
constexpr std::uint32_t LEAP1 = power<C1>( A1, NB_LANES );
constexpr std::uint32_t LEAP2 = power<C2>( A2, NB_LANES );

} // namespace

template <class T>
RnLecuyerUniformRng<T>::RnLecuyerUniformRng()
    : RnLecuyerUniformRng( 0, 0 ) {}

template <class T>
RnLecuyerUniformRng<T>::RnLecuyerUniformRng( unsigned int seed1 )
    : RnLecuyerUniformRng( seed1, 0 ) {}

template <class T>
RnLecuyerUniformRng<T>::RnLecuyerUniformRng( unsigned int seed1, unsigned int seed2 )
    : _seed1( toState( seed1, M1, SEED1 ) )
    , _seed2( toState( seed2, M2, SEED2 ) )
    , _s1( _seed1 )
    , _s2( _seed2 ) {}

template <class T>
T RnLecuyerUniformRng<T>::operator()() {
    _s1 = multiply<C1>( _s1, A1 );
    _s2 = multiply<C2>( _s2, A2 );
    return combine<T>( _s1, _s2 );
}

template <class T>
void RnLecuyerUniformRng<T>::getSequence( unsigned int n, T* values ) {
    std::uint32_t lanes1[NB_LANES];
    std::uint32_t lanes2[NB_LANES];
    for( unsigned int k = 0; k < NB_LANES; ++k ) {
        lanes1[k] = multiply<C1>( k == 0 ? _s1 : lanes1[k - 1], A1 );
        lanes2[k] = multiply<C2>( k == 0 ? _s2 : lanes2[k - 1], A2 );
    }
    for( ; n >= NB_LANES; n -= NB_LANES, values += NB_LANES ) {
        _s1 = lanes1[NB_LANES - 1];
        _s2 = lanes2[NB_LANES - 1];
        for( unsigned int k = 0; k < NB_LANES; ++k ) {
            values[k] = combine<T>( lanes1[k], lanes2[k] );
            lanes1[k] = multiply<C1>( lanes1[k], LEAP1 );
            lanes2[k] = multiply<C2>( lanes2[k], LEAP2 );
        }
    }
    for( ; n > 0; --n, ++values ) {
        *values = ( *this )();
    }
}

template <class T>
void RnLecuyerUniformRng<T>::restart() {
    _s1 = _seed1;
    _s2 = _seed2;
}

template <class T>
char const* RnLecuyerUniformRng<T>::getName() const {
    return "Lecuyer";
}

template <class T>
std::string RnLecuyerUniformRng<T>::getState() const {
    return writeRnState( getName(), { _seed1, _seed2, _s1, _s2 } );
}

template <class T>
void RnLecuyerUniformRng<T>::setState( std::string_view text ) {
    RnStateReader reader( getName(), text );
    RnLecuyerUniformRng read;
    read._seed1 = reader.next32( 1, M1 - 1 );
    read._seed2 = reader.next32( 1, M2 - 1 );
    read._s1 = reader.next32( 1, M1 - 1 );
    read._s2 = reader.next32( 1, M2 - 1 );
    reader.end();
    *this = read;
}

template <class T>
void RnLecuyerUniformRng<T>::skip( std::uint64_t n ) {
    _s1 = multiply<C1>( _s1, power<C1>( A1, n ) );
    _s2 = multiply<C2>( _s2, power<C2>( A2, n ) );
}

template class QV_INSTANCE_API RnLecuyerUniformRng<float>;
template class QV_INSTANCE_API RnLecuyerUniformRng<double>;

} // namespace Qv
