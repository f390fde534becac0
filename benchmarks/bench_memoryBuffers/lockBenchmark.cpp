#include <benchmarks/bench_memoryBuffers/common.h>

#include <resmgt/memoryBuffers/mbBufferRdGuardImp.h>

#include <benchmark/benchmark.h>

#if defined( QV_PEER_OPENIMAGEIO )
#    include <OpenImageIO/imagebuf.h>
#    include <OpenImageIO/imagecache.h>
#endif
#if defined( QV_PEER_ROCKSDB )
#    include <rocksdb/cache.h>
#endif

#include <array>
#include <filesystem>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>

#include <pthread.h>
#include <sched.h>

namespace {

using namespace Qv;
using namespace Qv::Bench;

/// So many locks are shared by the threads of one start.
constexpr int NB_LOCKS = 1 << 20;

/// Keeps the calling thread on one of the processors that it may use. Threads take turns at them by
/// their numbers.
void pin( int thread ) {
    cpu_set_t allowed;
    ::pthread_getaffinity_np( ::pthread_self(), sizeof( allowed ), &allowed );
    std::vector<std::size_t> processors;
    for( std::size_t i = 0; i < CPU_SETSIZE; ++i ) {
        if( CPU_ISSET( i, &allowed ) ) {
            processors.push_back( i );
        }
    }
    cpu_set_t mine;
    CPU_ZERO( &mine );
    CPU_SET( processors[static_cast<std::size_t>( thread ) % processors.size()], &mine );
    ::pthread_setaffinity_np( ::pthread_self(), sizeof( mine ), &mine );
}

/// Measures `work( thread, count )`, which locks so many times, in so many pinned threads.
template <class Work>
void measure( benchmark::State& state, int nbThreads, const Work& work ) {
    while( state.KeepRunningBatch( NB_LOCKS ) ) {
        inThreads( nbThreads, [nbThreads, &work]( int thread ) {
            pin( thread );
            work( thread, NB_LOCKS / nbThreads );
        } );
    }
}

// lockHeld

template <MbStateMachine::Trace_e TRACE>
void lockHeldMb( benchmark::State& state ) {
    const MbBuffer buffer = makeFactory( NO_LIMIT, TRACE ).create( "held", 1024 );
    measure( state, static_cast<int>( state.range( 0 ) ), [&buffer]( int, int count ) {
        const MbBufferRdGuardImp held( buffer );
        for( int i = 0; i < count; ++i ) {
            const MbBufferRdGuardImp guard( buffer );
            benchmark::ClobberMemory();
        }
    } );
}
void lockHeldStd( benchmark::State& state ) {
    std::mutex mutex;
    int counter = 0;
    measure( state, static_cast<int>( state.range( 0 ) ), [&mutex, &counter]( int, int count ) {
        for( int i = 0; i < count; ++i ) {
            {
                const std::lock_guard guard( mutex );
                benchmark::DoNotOptimize( ++counter );
            }
            const std::lock_guard guard( mutex );
            benchmark::DoNotOptimize( --counter );
        }
    } );
}

void forPair( benchmark::internal::Benchmark* row ) {
    row->ArgName( "threads" )->Arg( 1 )->Arg( 2 )->UseRealTime()->MeasureProcessCPUTime();
}
BENCHMARK( lockHeldMb<MbStateMachine::UNTRACED> )->Name( "lockHeld/MbBuffer" )->Apply( forPair );
BENCHMARK( lockHeldMb<MbStateMachine::TRACED> )
    ->Name( "lockHeld/MbBuffer_closedTraceLevel" )
    ->Apply( forPair );
BENCHMARK( lockHeldStd )->Name( "lockHeld/std_mutex" )->Apply( forPair );

// lockLoaded. A cache has so many tiles in memory; what its `visitor` answers locks and unlocks one
// of them, for one thread.

/// The content's size makes no difference, since nobody looks at it.
constexpr int SMALL_SIZE = 64;

template <bool IS_RANDOM>
class MbTiles {
public:
    explicit MbTiles( std::size_t count ) {
        MbBufferSimpleFactory factory =
            makeFactory( NO_LIMIT, MbStateMachine::UNTRACED, IS_RANDOM );
        for( std::size_t i = 0; i < count; ++i ) {
            _buffers.push_back( factory.create( "tile", SMALL_SIZE ) );
            _buffers.back().prefetch();
        }
    }
    auto visitor() const {
        return [this]( std::size_t tile ) {
            const MbBufferRdGuardImp guard( _buffers[tile] );
            benchmark::DoNotOptimize( guard.getMemory() );
        };
    }

private:
    std::vector<MbBuffer> _buffers;
};

#if defined( QV_PEER_ROCKSDB )
std::shared_ptr<rocksdb::Cache> makeLru( std::size_t capacity ) {
    return rocksdb::NewLRUCache( capacity );
}
std::shared_ptr<rocksdb::Cache> makeHyperClock( std::size_t capacity ) {
    return rocksdb::HyperClockCacheOptions( capacity, TILE_SIZE ).MakeSharedCache();
}

/// Entries count as tiles do, and there is room for twice as many.
template <std::shared_ptr<rocksdb::Cache> ( *MAKE )( std::size_t capacity )>
class RocksTiles {
public:
    explicit RocksTiles( std::size_t count )
        : _cache( MAKE( 2 * count * TILE_SIZE ) ) {
        for( std::size_t i = 0; i < count; ++i ) {
            const Key key( i );
            const rocksdb::Status status = _cache->Insert(
                key.slice(), new char[SMALL_SIZE], TILE_SIZE,
                []( const rocksdb::Slice&, void* tile ) { delete[] static_cast<char*>( tile ); } );
            if( !status.ok() ) {
                throw std::runtime_error( status.ToString() );
            }
        }
        if( _cache->GetUsage() < count * TILE_SIZE ) {
            throw std::runtime_error( "the cache has lost tiles" );
        }
    }
    auto visitor() const {
        return [this]( std::size_t tile ) {
            const Key key( tile );
            rocksdb::Cache::Handle* const handle = _cache->Lookup( key.slice() );
            benchmark::DoNotOptimize( _cache->Value( handle ) );
            _cache->Release( handle );
        };
    }

private:
    /// The one size of keys that HyperClockCache takes.
    class Key {
    public:
        explicit Key( std::size_t tile )
            : _words{ tile, 0 } {}
        rocksdb::Slice slice() const {
            return rocksdb::Slice( reinterpret_cast<const char*>( _words.data() ),
                                   sizeof( _words ) );
        }

    private:
        const std::array<std::uint64_t, 2> _words;
    };

    const std::shared_ptr<rocksdb::Cache> _cache;
};
#endif

#if defined( QV_PEER_OPENIMAGEIO )
/// The tiles of an image of 64 x 64 pixels each, 32-bit float RGBA: 64 KiB.
class ImageTiles {
public:
    auto visitor() const {
        return [this, perThread = _cache->get_perthread_info()]( std::size_t number ) {
            const int i = static_cast<int>( number );
            OIIO::ImageCache::Tile* const tile = _cache->get_tile(
                _file, perThread, 0, 0, i % TILES_IN_ROW * SIDE, i / TILES_IN_ROW * SIDE, 0 );
            OIIO::TypeDesc format;
            benchmark::DoNotOptimize( _cache->tile_pixels( tile, format ) );
            _cache->release_tile( tile );
        };
    }

    explicit ImageTiles( std::size_t count )
        : _path( std::filesystem::temp_directory_path() / "qvbench.tif" )
        , _cache( OIIO::ImageCache::create( false ) ) {
        OIIO::ImageBuf image( OIIO::ImageSpec( TILES_IN_ROW * SIDE,
                                               static_cast<int>( count ) / TILES_IN_ROW * SIDE, 4,
                                               OIIO::TypeDesc::FLOAT ) );
        image.set_write_tiles( SIDE, SIDE );
        image.write( _path.string() );
        _cache->attribute( "max_memory_MB", 1024.0f );
        _file = _cache->get_image_handle( OIIO::ustring( _path.string() ) );
        for( std::size_t i = 0; i < count; ++i ) {
            visitor()( i );
        }
    }
    ImageTiles( const ImageTiles& ) = delete;
    ImageTiles& operator=( const ImageTiles& ) = delete;
    ~ImageTiles() {
        OIIO::ImageCache::destroy( _cache );
        std::filesystem::remove( _path );
    }

private:
    static constexpr int SIDE = 64;
    static constexpr int TILES_IN_ROW = 32;

    const std::filesystem::path _path;
    OIIO::ImageCache* const _cache;
    OIIO::ImageCache::ImageHandle* _file;
};
#endif

template <class Cache, bool IS_SHARED = false>
void lockLoaded( benchmark::State& state ) {
    const auto nbTiles = static_cast<int>( state.range( 0 ) );
    const auto nbThreads = static_cast<int>( state.range( 1 ) );
    const Cache cache( static_cast<std::size_t>( nbTiles ) );
    std::vector<std::vector<std::uint32_t>> tiles;
    for( int i = 0; i < nbThreads; ++i ) {
        tiles.push_back( IS_SHARED ? shuffled( nbTiles, i ) : shuffled( nbTiles, i, nbThreads ) );
    }
    measure( state, nbThreads, [&cache, &tiles]( int thread, int count ) {
        visitAll( tiles[static_cast<std::size_t>( thread )], count, cache.visitor() );
    } );
}

/// Registers the rows of a cache.
template <class Cache>
bool addRows( const std::string& cache, bool isOfAnySize = true ) {
    const auto add = [&cache]( const char* work, void ( *run )( benchmark::State& ) ) {
        return benchmark::RegisterBenchmark( ( work + cache ).c_str(), run )
            ->ArgNames( { "tiles", "threads" } )
            ->UseRealTime()
            ->MeasureProcessCPUTime();
    };
    add( "lockLoaded/", lockLoaded<Cache> )->ArgsProduct( { { 1024 }, { 1, 2, 4, 8 } } );
    add( "lockShared/", lockLoaded<Cache, true> )->ArgsProduct( { { 1024 }, { 2, 4, 8 } } );
    if( isOfAnySize ) {
        add( "lockLoaded/", lockLoaded<Cache> )
            ->ArgsProduct( { { 1000, 10000, 100000, 1000000 }, { 1 } } );
    }
    return true;
}

[[maybe_unused]] const bool hasOurs =
    addRows<MbTiles<false>>( "MbBuffer_LRU" ) && addRows<MbTiles<true>>( "MbBuffer_random" );
#if defined( QV_PEER_ROCKSDB )
[[maybe_unused]] const bool hasRocks =
    addRows<RocksTiles<makeHyperClock>>( "RocksDB_HyperClockCache" ) &&
    addRows<RocksTiles<makeLru>>( "RocksDB_LRUCache" );
#endif
#if defined( QV_PEER_OPENIMAGEIO )
[[maybe_unused]] const bool hasImages = addRows<ImageTiles>( "OpenImageIO_ImageCache", false );
#endif

} // namespace
