// Node pools beside general allocators, with nodes of 64 bytes.
//
// replaceOne: each thread has 1,000 nodes, and an iteration replaces one of them, at random.
// freeElsewhere: one thread allocates and another frees; the nodes go through a ring of 1,024. An
// iteration is one node.

#include <resmgt/dynamicAllocation/daMemPool.h>

#include <benchmark/benchmark.h>

#if defined( QV_PEER_JEMALLOC )
#    include <jemalloc/jemalloc.h>
#endif
#if defined( QV_PEER_MIMALLOC )
#    include <mimalloc.h>
#endif

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <random>
#include <thread>

namespace {

constexpr std::size_t nodeSize = 64;

template <class Traits>
class PoolOf {
public:
    static void* alloc() { return _pool.alloc( nodeSize ); }
    static void free( void* node ) { _pool.free( node, nodeSize ); }

private:
    static inline Qv::DaMemPool<Traits> _pool{ "bench", nodeSize, 1 << 16, 1024 };
};

using Reset = PoolOf<Qv::DaMemPoolTraits>;
using Tagged = PoolOf<Qv::DaMemPoolTaggedTraits>;
using Cached = PoolOf<Qv::DaMemPoolCachedTraits>;
using OneThread = PoolOf<Qv::DaMemPoolSThreadTraits>;

#if defined( QV_PEER_JEMALLOC )
struct Jemalloc {
    static void* alloc() { return mallocx( nodeSize, 0 ); }
    static void free( void* node ) { sdallocx( node, nodeSize, 0 ); }
};
#endif

#if defined( QV_PEER_MIMALLOC )
struct Mimalloc {
    static void* alloc() { return mi_malloc( nodeSize ); }
    static void free( void* node ) { mi_free_size( node, nodeSize ); }
};
#endif

template <class Allocator>
void replaceOne( benchmark::State& state ) {
    std::array<void*, 1000> nodes;
    for( void*& node : nodes ) {
        node = Allocator::alloc();
    }
    std::array<std::uint16_t, 4096> victims;
    std::minstd_rand random( static_cast<unsigned>( state.thread_index() ) + 1 );
    for( std::uint16_t& victim : victims ) {
        victim = static_cast<std::uint16_t>( random() % nodes.size() );
    }
    std::size_t next = 0;
    for( auto unused : state ) {
        static_cast<void>( unused );
        void*& node = nodes[victims[next++ % victims.size()]];
        Allocator::free( node );
        node = Allocator::alloc();
        // As a client would.
        *static_cast<std::uint64_t*>( node ) = next;
    }
    for( void* const node : nodes ) {
        Allocator::free( node );
    }
}

/// One writes, one reads.
class Ring {
public:
    void put( void* node ) {
        while( _end.load( std::memory_order_relaxed ) - _begin.load( std::memory_order_acquire ) ==
               _nodes.size() ) {
            std::this_thread::yield();
        }
        const std::size_t end = _end.load( std::memory_order_relaxed );
        _nodes[end % _nodes.size()] = node;
        _end.store( end + 1, std::memory_order_release );
    }
    void* take() {
        const std::size_t begin = _begin.load( std::memory_order_relaxed );
        while( _end.load( std::memory_order_acquire ) == begin ) {
            std::this_thread::yield();
        }
        void* const node = _nodes[begin % _nodes.size()];
        _begin.store( begin + 1, std::memory_order_release );
        return node;
    }

private:
    std::array<void*, 1024> _nodes;
    alignas( 128 ) std::atomic<std::size_t> _begin{ 0 };
    alignas( 128 ) std::atomic<std::size_t> _end{ 0 };
};

template <class Allocator>
void freeElsewhere( benchmark::State& state ) {
    static Ring ring;
    for( auto unused : state ) {
        static_cast<void>( unused );
        if( state.thread_index() == 0 ) {
            void* const node = Allocator::alloc();
            *static_cast<std::uint64_t*>( node ) = 1;
            ring.put( node );
        } else {
            Allocator::free( ring.take() );
        }
    }
}

void threads( benchmark::internal::Benchmark* one ) {
    one->Threads( 1 )->Threads( 2 )->UseRealTime();
}
void twoThreads( benchmark::internal::Benchmark* one ) {
    one->Threads( 2 )->UseRealTime();
}

BENCHMARK_TEMPLATE( replaceOne, OneThread );
BENCHMARK_TEMPLATE( replaceOne, Reset );
BENCHMARK_TEMPLATE( replaceOne, Tagged )->Apply( threads );
BENCHMARK_TEMPLATE( replaceOne, Cached )->Apply( threads );
#if defined( QV_PEER_MIMALLOC )
BENCHMARK_TEMPLATE( replaceOne, Mimalloc )->Apply( threads );
#endif
#if defined( QV_PEER_JEMALLOC )
BENCHMARK_TEMPLATE( replaceOne, Jemalloc )->Apply( threads );
#endif

BENCHMARK_TEMPLATE( freeElsewhere, Tagged )->Apply( twoThreads );
BENCHMARK_TEMPLATE( freeElsewhere, Cached )->Apply( twoThreads );
#if defined( QV_PEER_MIMALLOC )
BENCHMARK_TEMPLATE( freeElsewhere, Mimalloc )->Apply( twoThreads );
#endif
#if defined( QV_PEER_JEMALLOC )
BENCHMARK_TEMPLATE( freeElsewhere, Jemalloc )->Apply( twoThreads );
#endif

} // namespace
