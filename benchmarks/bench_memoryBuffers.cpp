#include <resmgt/memoryBuffers/mbBufferRdGuardImp.h>
#include <resmgt/memoryBuffers/mbBufferSimpleFactory.h>
#include <resmgt/memoryBuffers/mbBufferWrGuardImp.h>
#include <resmgt/memoryBuffers/mbHeapManager.h>
#include <resmgt/memoryBuffers/mbProtocol.h>
#include <resmgt/memoryBuffers/mbStateMachine.h>
#include <resmgt/memoryBuffers/mbUnloadLRU.h>
#include <resmgt/memoryBuffers/mbUnloadRandom.h>

#include <benchmark/benchmark.h>

#if defined( QV_PEER_OPENIMAGEIO )
#    include <OpenImageIO/imagebuf.h>
#    include <OpenImageIO/imagecache.h>
#endif
#if defined( QV_PEER_ROCKSDB )
#    include <rocksdb/cache.h>
#endif

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <list>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

/// Names end in what is measured, "Mb..." ours, the others the peers.
///
/// - lockHeld: a read lock and its end on a buffer that is locked already; beside a counter that a
///   mutex guards, up and down again.
/// - lockLoaded: the first lock and the last unlock of a buffer in memory, one of a thousand in
///   turn, other ones for each thread; beside a look-up and release in two tile caches.
/// - traffic: random reads and writes of 64 KiB buffers, four times the limit, in one file; beside
///   a plain LRU of malloc'ed tiles. 30 of 100 write.

namespace {

using namespace Qv;

constexpr int TILE_SIZE = 65536;
constexpr int NB_TILES = 1024;
constexpr std::uint64_t NO_LIMIT = std::uint64_t{ 1 } << 40;

OPtr<MbUnloadStrategy> makeStrategy( bool isRandom ) {
    return isRandom ? OPtr<MbUnloadStrategy>( new MbUnloadRandom( 1 ) )
                    : OPtr<MbUnloadStrategy>( new MbUnloadLRU );
}

MbBufferSimpleFactory makeFactory( std::uint64_t limit, MbStateMachine::Trace_e trace,
                                   bool isRandom = false ) {
    return MbBufferSimpleFactory(
        MbStateMachine::getInstance( trace, MbStateMachine::RELAXED ).getInitialState(),
        RCShdPtr<MbManager>( new MbHeapManager( "bench", limit, makeStrategy( isRandom ) ) ) );
}

// lockHeld

template <MbStateMachine::Trace_e TRACE>
void lockHeldMb( benchmark::State& state ) {
    static MbBuffer buffer = makeFactory( NO_LIMIT, TRACE ).create( "held", 1024 );
    const MbBufferRdGuardImp held( buffer );
    for( auto _ : state ) {
        const MbBufferRdGuardImp guard( buffer );
        benchmark::ClobberMemory();
    }
}
void lockHeldStd( benchmark::State& state ) {
    static std::mutex mutex;
    static int counter = 0;
    for( auto _ : state ) {
        {
            const std::lock_guard guard( mutex );
            benchmark::DoNotOptimize( ++counter );
        }
        const std::lock_guard guard( mutex );
        benchmark::DoNotOptimize( --counter );
    }
}
BENCHMARK( lockHeldMb<MbStateMachine::UNTRACED> )
    ->Name( "lockHeld/MbBuffer" )
    ->ThreadRange( 1, 2 )
    ->UseRealTime();
BENCHMARK( lockHeldMb<MbStateMachine::TRACED> )
    ->Name( "lockHeld/MbBuffer_closedTraceLevel" )
    ->ThreadRange( 1, 2 )
    ->UseRealTime();
BENCHMARK( lockHeldStd )->Name( "lockHeld/std_mutex" )->ThreadRange( 1, 2 )->UseRealTime();

// lockLoaded

/// Visits the tiles of one thread in a fixed random order.
class Order {
public:
    Order( int thread, int nbThreads ) {
        for( int i = thread; i < NB_TILES; i += nbThreads ) {
            _tiles.push_back( static_cast<std::size_t>( i ) );
        }
        std::shuffle( _tiles.begin(), _tiles.end(), std::mt19937( 1 ) );
    }
    std::size_t next() {
        _next = _next + 1 < _tiles.size() ? _next + 1 : 0;
        return _tiles[_next];
    }

private:
    std::vector<std::size_t> _tiles;
    std::size_t _next = 0;
};

template <bool IS_RANDOM>
void lockLoadedMb( benchmark::State& state ) {
    static std::vector<MbBuffer> buffers = [] {
        std::vector<MbBuffer> made;
        MbBufferSimpleFactory factory =
            makeFactory( NO_LIMIT, MbStateMachine::UNTRACED, IS_RANDOM );
        for( int i = 0; i < NB_TILES; ++i ) {
            made.push_back( factory.create( "tile", TILE_SIZE ) );
            made.back().prefetch();
        }
        return made;
    }();
    Order order( state.thread_index(), state.threads() );
    for( auto _ : state ) {
        const MbBufferRdGuardImp guard( buffers[order.next()] );
        benchmark::DoNotOptimize( guard.getMemory() );
    }
}
BENCHMARK( lockLoadedMb<false> )
    ->Name( "lockLoaded/MbBuffer_LRU" )
    ->ThreadRange( 1, 2 )
    ->UseRealTime();
BENCHMARK( lockLoadedMb<true> )
    ->Name( "lockLoaded/MbBuffer_random" )
    ->ThreadRange( 1, 2 )
    ->UseRealTime();

#if defined( QV_PEER_ROCKSDB )
void lockLoadedRocksDB( benchmark::State& state ) {
    static const std::shared_ptr<rocksdb::Cache> cache = [] {
        auto made = rocksdb::NewLRUCache( std::size_t{ 1 } << 40 );
        for( std::size_t i = 0; i < NB_TILES; ++i ) {
            made->Insert( rocksdb::Slice( reinterpret_cast<const char*>( &i ), sizeof( i ) ),
                          new char[TILE_SIZE], TILE_SIZE, []( const rocksdb::Slice&, void* tile ) {
                              delete[] static_cast<char*>( tile );
                          } );
        }
        return made;
    }();
    Order order( state.thread_index(), state.threads() );
    for( auto _ : state ) {
        const std::size_t tile = order.next();
        rocksdb::Cache::Handle* const handle = cache->Lookup(
            rocksdb::Slice( reinterpret_cast<const char*>( &tile ), sizeof( tile ) ) );
        benchmark::DoNotOptimize( cache->Value( handle ) );
        cache->Release( handle );
    }
}
BENCHMARK( lockLoadedRocksDB )
    ->Name( "lockLoaded/RocksDB_LRUCache" )
    ->ThreadRange( 1, 2 )
    ->UseRealTime();
#endif

/// A file of its own, without a name.
class ScratchFile {
public:
    ScratchFile() {
        std::string path = ( std::filesystem::temp_directory_path() / "qvbenchXXXXXX" ).string();
        _descriptor = ::mkstemp( path.data() );
        if( _descriptor < 0 ) {
            throw std::runtime_error( "no scratch file in " + path );
        }
        ::unlink( path.c_str() );
    }
    ScratchFile( const ScratchFile& ) = delete;
    ScratchFile& operator=( const ScratchFile& ) = delete;
    ~ScratchFile() { ::close( _descriptor ); }

    void read( int tile, void* memory ) const {
        check( ::pread( _descriptor, memory, TILE_SIZE, place( tile ) ) );
    }
    void write( int tile, const void* memory ) const {
        check( ::pwrite( _descriptor, memory, TILE_SIZE, place( tile ) ) );
    }

private:
    static off_t place( int tile ) { return static_cast<off_t>( tile ) * TILE_SIZE; }
    static void check( ssize_t transferred ) {
        if( transferred != TILE_SIZE ) {
            throw std::runtime_error( "scratch file" );
        }
    }

    int _descriptor;
};

#if defined( QV_PEER_OPENIMAGEIO )
/// The tiles of an image of 64 x 64 pixels each, 32-bit float RGBA: 64 KiB.
class ImageTiles {
public:
    ImageTiles()
        : _path( std::filesystem::temp_directory_path() / "qvbench.tif" )
        , _cache( OIIO::ImageCache::create( false ) ) {
        constexpr int SIDE = 64 * 32;
        OIIO::ImageSpec spec( SIDE, SIDE, 4, OIIO::TypeDesc::FLOAT );
        OIIO::ImageBuf image( spec );
        image.set_write_tiles( 64, 64 );
        image.write( _path.string() );
        _cache->attribute( "max_memory_MB", 1024.0f );
        _file = _cache->get_image_handle( OIIO::ustring( _path.string() ) );
    }
    ImageTiles( const ImageTiles& ) = delete;
    ImageTiles& operator=( const ImageTiles& ) = delete;
    ~ImageTiles() {
        OIIO::ImageCache::destroy( _cache );
        std::filesystem::remove( _path );
    }

    OIIO::ImageCache& cache() const { return *_cache; }
    OIIO::ImageCache::ImageHandle* file() const { return _file; }

private:
    const std::filesystem::path _path;
    OIIO::ImageCache* const _cache;
    OIIO::ImageCache::ImageHandle* _file;
};

void lockLoadedImageCache( benchmark::State& state ) {
    static const ImageTiles image;
    OIIO::ImageCache::Perthread* const perThread = image.cache().get_perthread_info();
    Order order( state.thread_index(), state.threads() );
    for( auto _ : state ) {
        const int tile = static_cast<int>( order.next() );
        OIIO::ImageCache::Tile* const handle = image.cache().get_tile(
            image.file(), perThread, 0, 0, tile % 32 * 64, tile / 32 * 64, 0 );
        OIIO::TypeDesc format;
        benchmark::DoNotOptimize( image.cache().tile_pixels( handle, format ) );
        image.cache().release_tile( handle );
    }
}
BENCHMARK( lockLoadedImageCache )
    ->Name( "lockLoaded/OpenImageIO_ImageCache" )
    ->ThreadRange( 1, 2 )
    ->UseRealTime();
#endif

// traffic

constexpr int NB_RESIDENT = 1024;
constexpr int NB_TRAFFIC_TILES = 4 * NB_RESIDENT;

/// The random accesses; what an access does to the tile.
class Traffic {
public:
    void step() {
        tile = static_cast<int>( _random() % NB_TRAFFIC_TILES );
        isWrite = _random() % 100 < 30;
    }
    void touch( void* memory ) {
        auto* const words = static_cast<std::uint64_t*>( memory );
        for( int i = 0; i < TILE_SIZE / 8; i += 512 ) {
            if( isWrite ) {
                words[i] = _sum++;
            } else {
                _sum += words[i];
            }
        }
        benchmark::DoNotOptimize( _sum );
    }

    int tile = 0;
    bool isWrite = false;

private:
    std::mt19937 _random{ 1 };
    std::uint64_t _sum = 0;
};

class FileProtocol : public MbProtocol {
public:
    FileProtocol( const ScratchFile& file, int tile )
        : _file( file )
        , _tile( tile ) {}

    void load( void* memory, unsigned long long ) override { std::memset( memory, 0, TILE_SIZE ); }
    void reload( void* memory, unsigned long long ) override { _file.read( _tile, memory ); }
    bool unload( void* memory, unsigned long long ) override {
        // The first eviction writes in any case, as in the peer: there is nothing to reload else.
        if( _isDirty ) {
            _file.write( _tile, memory );
            _isDirty = false;
        }
        return true;
    }
    void markDirty( void*, unsigned long long ) override { _isDirty = true; }

private:
    const ScratchFile& _file;
    const int _tile;
    bool _isDirty = true;
};

template <bool IS_RANDOM>
void trafficMb( benchmark::State& state ) {
    const ScratchFile file;
    MbBufferSimpleFactory factory = makeFactory( std::uint64_t{ NB_RESIDENT } * ( TILE_SIZE + 127 ),
                                                 MbStateMachine::UNTRACED, IS_RANDOM );
    std::vector<MbBuffer> buffers;
    for( int i = 0; i < NB_TRAFFIC_TILES; ++i ) {
        buffers.push_back( factory.create( "tile", OPtr<MbProtocol>( new FileProtocol( file, i ) ),
                                           TILE_SIZE, MbAlignment( 127, 0, 0 ) ) );
        const MbBufferWrGuardImp guard( buffers.back() );
    }
    Traffic traffic;
    for( auto _ : state ) {
        traffic.step();
        MbBuffer& buffer = buffers[static_cast<std::size_t>( traffic.tile )];
        if( traffic.isWrite ) {
            const MbBufferWrGuardImp guard( buffer );
            traffic.touch( guard.getMemory() );
        } else {
            const MbBufferRdGuardImp guard( buffer );
            traffic.touch( const_cast<void*>( guard.getMemory() ) );
        }
    }
    state.SetBytesProcessed( state.iterations() * TILE_SIZE );
}
BENCHMARK( trafficMb<false> )->Name( "traffic/MbBuffer_LRU" )->UseRealTime();
BENCHMARK( trafficMb<true> )->Name( "traffic/MbBuffer_random" )->UseRealTime();

/// What one would write without a library: least recently used first, no lock.
class PlainLru {
public:
    explicit PlainLru( const ScratchFile& file )
        : _file( file ) {}
    PlainLru( const PlainLru& ) = delete;
    PlainLru& operator=( const PlainLru& ) = delete;
    ~PlainLru() {
        for( Tile& tile : _tiles ) {
            std::free( tile.memory );
        }
    }

    void* get( int number, bool isWrite ) {
        const auto found = _byNumber.find( number );
        if( found != _byNumber.end() ) {
            _tiles.splice( _tiles.end(), _tiles, found->second );
            found->second->isDirty |= isWrite;
            return found->second->memory;
        }
        if( _tiles.size() == NB_RESIDENT ) {
            evict();
        }
        void* const memory = std::malloc( TILE_SIZE );
        if( _isKnown[static_cast<std::size_t>( number )] ) {
            _file.read( number, memory );
        } else {
            std::memset( memory, 0, TILE_SIZE );
        }
        _tiles.push_back( { number, memory, isWrite } );
        _byNumber.emplace( number, std::prev( _tiles.end() ) );
        return memory;
    }

private:
    struct Tile {
        int number;
        void* memory;
        bool isDirty;
    };

    void evict() {
        const Tile tile = _tiles.front();
        if( tile.isDirty ) {
            _file.write( tile.number, tile.memory );
            _isKnown[static_cast<std::size_t>( tile.number )] = true;
        }
        std::free( tile.memory );
        _byNumber.erase( tile.number );
        _tiles.pop_front();
    }

    const ScratchFile& _file;
    std::list<Tile> _tiles;
    std::unordered_map<int, std::list<Tile>::iterator> _byNumber;
    std::vector<bool> _isKnown = std::vector<bool>( NB_TRAFFIC_TILES );
};

void trafficPlain( benchmark::State& state ) {
    const ScratchFile file;
    PlainLru cache( file );
    for( int i = 0; i < NB_TRAFFIC_TILES; ++i ) {
        cache.get( i, true );
    }
    Traffic traffic;
    for( auto _ : state ) {
        traffic.step();
        traffic.touch( cache.get( traffic.tile, traffic.isWrite ) );
    }
    state.SetBytesProcessed( state.iterations() * TILE_SIZE );
}
BENCHMARK( trafficPlain )->Name( "traffic/plainLRU" )->UseRealTime();

} // namespace

BENCHMARK_MAIN();
