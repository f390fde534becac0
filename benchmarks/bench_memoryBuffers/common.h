#pragma once

#include <resmgt/memoryBuffers/mbBufferSimpleFactory.h>
#include <resmgt/memoryBuffers/mbHeapManager.h>
#include <resmgt/memoryBuffers/mbStateMachine.h>
#include <resmgt/memoryBuffers/mbUnloadLRU.h>
#include <resmgt/memoryBuffers/mbUnloadRandom.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <thread>
#include <vector>

/// What the benchmarks of the memory buffers share.
namespace Qv::Bench {

constexpr int TILE_SIZE = 65536;
constexpr std::uint64_t NO_LIMIT = std::uint64_t{ 1 } << 40;

/// What a buffer with the usual alignment of 128 counts against the limit.
constexpr std::uint64_t countedSize( int size ) {
    return static_cast<std::uint64_t>( size ) + 127;
}

inline MbBufferSimpleFactory makeFactory( std::uint64_t limit,
                                          MbStateMachine::Trace_e trace = MbStateMachine::UNTRACED,
                                          bool isRandom = false ) {
    OPtr<MbUnloadStrategy> strategy = isRandom ? OPtr<MbUnloadStrategy>( new MbUnloadRandom( 1 ) )
                                               : OPtr<MbUnloadStrategy>( new MbUnloadLRU );
    return MbBufferSimpleFactory(
        MbStateMachine::getInstance( trace, MbStateMachine::RELAXED ).getInitialState(),
        RCShdPtr<MbManager>( new MbHeapManager( "bench", limit, strategy ) ) );
}

/// The tiles in a random order, which the thread's number decides; where they are shared out,
/// only that thread's.
inline std::vector<std::uint32_t> shuffled( int nbTiles, int thread, int nbShares = 1 ) {
    std::vector<std::uint32_t> tiles;
    for( int i = thread % nbShares; i < nbTiles; i += nbShares ) {
        tiles.push_back( static_cast<std::uint32_t>( i ) );
    }
    std::shuffle( tiles.begin(), tiles.end(), std::mt19937( static_cast<unsigned>( thread ) ) );
    return tiles;
}

/// Calls `visit( tile )` so many times, with the tiles in their order, again and again.
template <class Visit>
void visitAll( const std::vector<std::uint32_t>& tiles, int count, const Visit& visit ) {
    std::size_t next = 0;
    for( int i = 0; i < count; ++i ) {
        visit( tiles[next] );
        next = next + 1 < tiles.size() ? next + 1 : 0;
    }
}

/// Calls `work( thread )` in so many threads at once, with their numbers, and waits for their ends.
///
/// Threads of the benchmark library won't do where there are more than processors: each is measured
/// from its own beginning, so that what it waits for the others before that is missing.
template <class Work>
void inThreads( int nbThreads, const Work& work ) {
    std::vector<std::jthread> threads;
    for( int i = 0; i < nbThreads; ++i ) {
        threads.emplace_back( [&work, i] { work( i ); } );
    }
}

} // namespace Qv::Bench
