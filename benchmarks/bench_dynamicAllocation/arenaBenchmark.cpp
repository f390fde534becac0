// Arenas: mixed sizes from 1 KiB to 1 MiB, small ones as likely as large ones (each power of two
// has the same share), alignment 128. An iteration frees one random live block and then allocates
// until the wanted share of the arena is live again, so it is about one `free` and one `allocate`.
//
// Arguments: percent of the arena that is live, size of the arena in GiB.

#include <resmgt/dynamicAllocation/daFirstFitArena.h>
#include <resmgt/dynamicAllocation/test/plainArena.h>

#include <benchmark/benchmark.h>

#if defined( QV_PEER_BOOST )
#    include <boost/interprocess/indexes/iset_index.hpp>
#    include <boost/interprocess/managed_external_buffer.hpp>
#    include <boost/interprocess/mem_algo/rbtree_best_fit.hpp>
#endif

#include <cmath>
#include <cstdint>
#include <random>
#include <sys/mman.h>
#include <utility>
#include <vector>

namespace {

constexpr std::size_t alignment = 128;

class OursAtWork {
public:
    explicit OursAtWork( std::size_t size )
        : _arena( reinterpret_cast<void*>( base ), size, nullptr ) {}

    std::uintptr_t allocate( std::size_t size ) {
        return reinterpret_cast<std::uintptr_t>( _arena.allocate( size, alignment ) );
    }
    void free( std::uintptr_t block ) { _arena.free( reinterpret_cast<void*>( block ) ); }

private:
    // Nothing is there: the arena's memory is never touched.
    static constexpr std::uintptr_t base = std::uintptr_t( 1 ) << 32;

    Qv::DaFirstFitArena _arena;
};

class PlainAtWork {
public:
    explicit PlainAtWork( std::size_t size )
        : _arena( std::uint64_t( 1 ) << 32, size ) {}

    std::uintptr_t allocate( std::size_t size ) { return _arena.allocate( size, alignment ); }
    void free( std::uintptr_t block ) { _arena.free( block ); }

private:
    Qv::PlainArena _arena;
};

#if defined( QV_PEER_BOOST )
class BoostAtWork {
public:
    explicit BoostAtWork( std::size_t size )
        : _size( size )
        , _memory( mmap( nullptr, size, PROT_READ | PROT_WRITE,
                         MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0 ) )
        , _buffer( boost::interprocess::create_only, _memory, size ) {}
    BoostAtWork( const BoostAtWork& ) = delete;
    BoostAtWork& operator=( const BoostAtWork& ) = delete;
    ~BoostAtWork() { munmap( _memory, _size ); }

    std::uintptr_t allocate( std::size_t size ) {
        return reinterpret_cast<std::uintptr_t>(
            _buffer.allocate_aligned( size, alignment, std::nothrow ) );
    }
    void free( std::uintptr_t block ) { _buffer.deallocate( reinterpret_cast<void*>( block ) ); }

private:
    using Algorithm = boost::interprocess::rbtree_best_fit<boost::interprocess::null_mutex_family>;
    using Buffer =
        boost::interprocess::basic_managed_external_buffer<char, Algorithm,
                                                           boost::interprocess::iset_index>;

    const std::size_t _size;
    void* const _memory;
    Buffer _buffer;
};
#endif

// The same requests for each arena.
class Requests {
public:
    Requests() {
        std::mt19937_64 random( 1 );
        std::uniform_real_distribution<double> exponent( 10, 20 );
        for( Request& request : _requests ) {
            request._size = static_cast<std::size_t>( std::exp2( exponent( random ) ) );
            request._victim = static_cast<std::uint32_t>( random() );
        }
    }

    struct Request {
        std::size_t _size;
        std::uint32_t _victim;
    };

    const Request& next() { return _requests[_next++ % _requests.size()]; }

private:
    std::vector<Request> _requests = std::vector<Request>( 1 << 16 );
    std::size_t _next = 0;
};

template <class Arena>
void mixedSizes( benchmark::State& state ) {
    const auto size = static_cast<std::size_t>( state.range( 1 ) ) << 30;
    const std::size_t wanted = size / 100 * static_cast<std::size_t>( state.range( 0 ) );
    Arena arena( size );
    Requests requests;
    std::vector<std::pair<std::uintptr_t, std::size_t>> live;
    std::size_t nbLiveBytes = 0;
    std::int64_t nbAllocated = 0;
    std::int64_t nbRefused = 0;
    const auto freeOne = [&] {
        const std::size_t victim = requests.next()._victim % live.size();
        std::swap( live[victim], live.back() );
        arena.free( live.back().first );
        nbLiveBytes -= live.back().second;
        live.pop_back();
    };
    const auto fill = [&] {
        while( nbLiveBytes < wanted ) {
            const std::size_t asked = requests.next()._size;
            const std::uintptr_t block = arena.allocate( asked );
            if( block == 0 ) {
                ++nbRefused;
                return;
            }
            live.emplace_back( block, asked );
            nbLiveBytes += asked;
            ++nbAllocated;
        }
    };
    // Into the steady state: every block has been replaced several times.
    fill();
    for( std::size_t i = 8 * live.size(); i > 0; --i ) {
        freeOne();
        fill();
    }
    nbAllocated = 0;
    nbRefused = 0;
    for( auto unused : state ) {
        static_cast<void>( unused );
        freeOne();
        fill();
    }
    state.SetItemsProcessed( nbAllocated );
    state.counters["live"] = static_cast<double>( live.size() );
    state.counters["refused"] =
        benchmark::Counter( static_cast<double>( nbRefused ), benchmark::Counter::kAvgIterations );
}

void workloads( benchmark::internal::Benchmark* one ) {
    one->ArgNames( { "live%", "GiB" } )->ArgsProduct( { { 50, 80 }, { 1, 16 } } );
}

BENCHMARK_TEMPLATE( mixedSizes, OursAtWork )->Apply( workloads );
BENCHMARK_TEMPLATE( mixedSizes, PlainAtWork )->Apply( workloads );
#if defined( QV_PEER_BOOST )
BENCHMARK_TEMPLATE( mixedSizes, BoostAtWork )->Apply( workloads );
#endif

} // namespace

BENCHMARK_MAIN();
