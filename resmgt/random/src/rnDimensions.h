#pragma once

#include <resmgt/random/src/rnState.h>

#include <resmgt/random/rnVanDerCorputRng.h>

#include <array>
#include <cstdint>
#include <vector>

namespace Qv {

/// What a Halton sequence and a Hammersley set do with their Van der Corput sequences.
template <class T, std::size_t N>
using RnDimensions = std::array<RnVanDerCorputRng<T>, N>;

constexpr unsigned int RN_PRIMES[] = { 2, 3, 5, 7 };

/// All bases are looked at before the first one is taken.
template <class T, std::size_t N>
void setBases( RnDimensions<T, N>& dimensions, unsigned int const* bases ) {
    RnDimensions<T, N> changed = dimensions;
    for( std::size_t i = 0; i < N; ++i ) {
        changed[i].setBase( bases[i] );
    }
    dimensions = changed;
}

template <class T, std::size_t N>
void skipInAll( RnDimensions<T, N>& dimensions, std::uint64_t n ) {
    for( auto& dimension : dimensions ) {
        dimension.skip( n );
    }
}

template <class T, std::size_t N>
void restartAll( RnDimensions<T, N>& dimensions, unsigned int counter ) {
    for( auto& dimension : dimensions ) {
        dimension.restart( counter );
    }
}

/// Bases and counters by turns.
template <class T, std::size_t N>
void appendState( const RnDimensions<T, N>& dimensions, std::vector<std::uint64_t>& numbers ) {
    for( const auto& dimension : dimensions ) {
        numbers.push_back( dimension.getBase() );
        numbers.push_back( dimension.getCounter() );
    }
}

template <class T, std::size_t N>
RnDimensions<T, N> readDimensions( RnStateReader& reader ) {
    RnDimensions<T, N> dimensions;
    for( auto& dimension : dimensions ) {
        dimension.setBase( reader.next32( 2 ) );
        dimension.restart( reader.next32() );
    }
    return dimensions;
}

} // namespace Qv
