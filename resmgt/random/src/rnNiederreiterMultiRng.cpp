#include <resmgt/random/rnNiederreiterMultiRng.h>

#include <resmgt/random/src/rnNiederreiter.h>
#include <resmgt/random/src/rnState.h>
#include <resmgt/random/src/rnUnitValue.h>

namespace Qv {

namespace {

constexpr std::uint32_t NB_SKIPPED = 4096;

template <class T>
T toUnitInterval( std::uint32_t coordinate ) {
    constexpr T step = T( 1 ) / T( 2147483648.0 );
    return belowOne( static_cast<T>( static_cast<std::int32_t>( coordinate ) ) * step );
}

// Points of an aligned block differ from its first one by the same everywhere.
constexpr unsigned int NB_BLOCK_BITS = 4;
constexpr unsigned int BLOCK_SIZE = 1u << NB_BLOCK_BITS;
constexpr auto BLOCK = [] {
    std::array<std::array<std::uint32_t, BLOCK_SIZE>, 4> block{};
    for( std::uint32_t i = 0; i < BLOCK_SIZE; ++i ) {
        const RnNiederreiter::Point point = RnNiederreiter::makePoint( i );
        for( std::size_t d = 0; d < 4; ++d ) {
            block[d][i] = point[d];
        }
    }
    return block;
}();

template <class T>
void fillBlock( const RnNiederreiter::Point& first, T* const* values, unsigned int at ) {
    for( std::size_t d = 0; d < 4; ++d ) {
        T* const out = values[d] + at;
        for( unsigned int i = 0; i < BLOCK_SIZE; ++i ) {
            out[i] = toUnitInterval<T>( first[d] ^ BLOCK[d][i] );
        }
    }
}

// From the point of an aligned `index` to that behind its block.
void advanceBlock( RnNiederreiter::Point& point, std::uint32_t index ) {
    const auto nbOnes = static_cast<unsigned int>( std::countr_one( index >> NB_BLOCK_BITS ) );
    RnNiederreiter::add( point, RN_NIEDERREITER_CHANGES[NB_BLOCK_BITS - 1] );
    RnNiederreiter::add( point, RN_NIEDERREITER_CHANGES[NB_BLOCK_BITS + nbOnes] );
}

} // namespace

template <class T>
RnNiederreiterMultiRng<T>::RnNiederreiterMultiRng() {
    moveTo( 0 );
}

template <class T>
void RnNiederreiterMultiRng<T>::moveTo( std::uint32_t counter ) {
    _counter = counter;
    _next = RnNiederreiter::makePoint( counter + NB_SKIPPED );
}

template <class T>
void RnNiederreiterMultiRng<T>::getSample( T* values ) {
    const RnNiederreiter::Point point = _next;
    RnNiederreiter::advance( _next, _counter + NB_SKIPPED );
    ++_counter;
    for( std::size_t d = 0; d < 4; ++d ) {
        values[d] = toUnitInterval<T>( point[d] );
    }
}

template <class T>
void RnNiederreiterMultiRng<T>::getSequence( unsigned int n, T* const* values ) {
    unsigned int done = 0;
    while( done < n ) {
        if( _counter % BLOCK_SIZE == 0 && n - done >= BLOCK_SIZE ) {
            fillBlock( _next, values, done );
            advanceBlock( _next, _counter + NB_SKIPPED );
            _counter += BLOCK_SIZE;
            done += BLOCK_SIZE;
            continue;
        }
        T point[4];
        getSample( point );
        for( std::size_t d = 0; d < 4; ++d ) {
            values[d][done] = point[d];
        }
        ++done;
    }
}

template <class T>
void RnNiederreiterMultiRng<T>::restart() {
    moveTo( 0 );
}

template <class T>
char const* RnNiederreiterMultiRng<T>::getName() const {
    return "Niederreiter";
}

template <class T>
std::string RnNiederreiterMultiRng<T>::getState() const {
    return writeRnState( getName(), { _counter } );
}

template <class T>
void RnNiederreiterMultiRng<T>::setState( std::string_view text ) {
    RnStateReader reader( getName(), text );
    const std::uint32_t counter = reader.next32();
    reader.end();
    moveTo( counter );
}

template <class T>
void RnNiederreiterMultiRng<T>::skip( std::uint64_t n ) {
    moveTo( _counter + static_cast<std::uint32_t>( n ) );
}

template class QV_INSTANCE_API RnNiederreiterMultiRng<float>;
template class QV_INSTANCE_API RnNiederreiterMultiRng<double>;

} // namespace Qv
