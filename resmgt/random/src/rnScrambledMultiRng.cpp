#include <resmgt/random/rnScrambledMultiRng.h>

#include <resmgt/random/src/rnNiederreiter.h>
#include <resmgt/random/src/rnState.h>

#include <algorithm>
#include <limits>

namespace Qv {

namespace {

std::uint32_t reverseBits( std::uint32_t bits ) {
    bits = ( bits >> 1 & 0x55555555 ) | ( bits & 0x55555555 ) << 1;
    bits = ( bits >> 2 & 0x33333333 ) | ( bits & 0x33333333 ) << 2;
    bits = ( bits >> 4 & 0x0f0f0f0f ) | ( bits & 0x0f0f0f0f ) << 4;
    bits = ( bits >> 8 & 0x00ff00ff ) | ( bits & 0x00ff00ff ) << 8;
    return bits >> 16 | bits << 16;
}

// Each bit is flipped or not by a hash of those below it, which is Owen's scrambling for a number
// whose bits are reversed. The constants are Vegdahl's improvement of those of Laine and Karras.
std::uint32_t scrambleReversed( std::uint32_t bits, std::uint32_t key ) {
    bits ^= bits * 0x3d20adea;
    bits += key;
    bits *= key >> 16 | 1;
    bits ^= bits * 0x05526c56;
    bits ^= bits * 0x53a22864;
    return bits;
}

// Mixes a seed and a dimension: neighbouring pixels have neighbouring seeds.
std::uint32_t makeKey( std::uint32_t seed, std::size_t dimension ) {
    std::uint64_t mixed = ( std::uint64_t( seed ) << 2 | dimension ) + 0x9e3779b97f4a7c15;
    mixed = ( mixed ^ mixed >> 30 ) * 0xbf58476d1ce4e5b9;
    mixed = ( mixed ^ mixed >> 27 ) * 0x94d049bb133111eb;
    return static_cast<std::uint32_t>( mixed >> 32 );
}

// The last of 32 bits is the hash's alone. A float takes the upper bits: rounding would lead into
// the next elementary box, and up to 1.
template <class T>
T toUnitInterval( std::uint32_t bits ) {
    constexpr int nbBits = std::min( std::numeric_limits<T>::digits, 32 );
    constexpr T step = T( 1 ) / static_cast<T>( std::uint64_t( 1 ) << nbBits );
    return static_cast<T>( bits >> ( 32 - nbBits ) ) * step;
}

} // namespace

template <class T>
RnScrambledMultiRng<T>::RnScrambledMultiRng()
    : RnScrambledMultiRng( 0 ) {}

template <class T>
RnScrambledMultiRng<T>::RnScrambledMultiRng( unsigned int seed ) {
    restart( seed );
}

template <class T>
void RnScrambledMultiRng<T>::scramble( const Point& point, T* values ) const {
    for( std::size_t d = 0; d < 4; ++d ) {
        const std::uint32_t reversed = reverseBits( point[d] << 1 );
        values[d] = toUnitInterval<T>( reverseBits( scrambleReversed( reversed, _keys[d] ) ) );
    }
}

template <class T>
void RnScrambledMultiRng<T>::getSample( T* values ) {
    scramble( _next, values );
    RnNiederreiter::advance( _next, _index );
    ++_index;
}

template <class T>
void RnScrambledMultiRng<T>::getSequence( unsigned int n, T* const* values ) {
    for( unsigned int i = 0; i < n; ++i ) {
        T point[4];
        getSample( point );
        for( std::size_t d = 0; d < 4; ++d ) {
            values[d][i] = point[d];
        }
    }
}

template <class T>
void RnScrambledMultiRng<T>::getPoint( std::uint32_t index, T* values ) const {
    scramble( RnNiederreiter::makePoint( index ), values );
}

template <class T>
void RnScrambledMultiRng<T>::restart() {
    _index = 0;
    _next = {};
}

template <class T>
void RnScrambledMultiRng<T>::restart( unsigned int seed ) {
    _seed = seed;
    for( std::size_t d = 0; d < 4; ++d ) {
        _keys[d] = makeKey( _seed, d );
    }
    restart();
}

template <class T>
char const* RnScrambledMultiRng<T>::getName() const {
    return "Scrambled Niederreiter";
}

template <class T>
std::string RnScrambledMultiRng<T>::getState() const {
    return writeRnState( getName(), { _seed, _index } );
}

template <class T>
void RnScrambledMultiRng<T>::setState( std::string_view text ) {
    RnStateReader reader( getName(), text );
    const std::uint32_t seed = reader.next32();
    const std::uint32_t index = reader.next32();
    reader.end();
    restart( seed );
    skip( index );
}

template <class T>
void RnScrambledMultiRng<T>::skip( std::uint64_t n ) {
    _index += static_cast<std::uint32_t>( n );
    _next = RnNiederreiter::makePoint( _index );
}

template class QV_INSTANCE_API RnScrambledMultiRng<float>;
template class QV_INSTANCE_API RnScrambledMultiRng<double>;

} // namespace Qv
