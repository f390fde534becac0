#include <benchmarks/bench_memoryBuffers/common.h>

#include <mediaTiles/tiBufferFactory.h>
#include <resmgt/content/ctFileServer.h>
#include <resmgt/memoryBuffers/mbBufferRdGuardImp.h>
#include <resmgt/memoryBuffers/mbBufferWrGuardImp.h>
#include <resmgt/memoryBuffers/mbProtocol.h>

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <filesystem>
#include <list>
#include <numeric>
#include <span>
#include <stdexcept>
#include <string>
#include <thread>
#include <unordered_map>
#include <utility>

#include <unistd.h>

namespace {

using namespace Qv;
using namespace Qv::Bench;

constexpr int LIMIT = 64 << 20;

/// Tiles of one size in a file without a name, four times the limit.
class TileFile {
public:
    explicit TileFile( int bytesOfTile )
        : tileSize( bytesOfTile )
        , nbResident( LIMIT / tileSize )
        , nbTiles( 4 * nbResident ) {
        std::string path = ( std::filesystem::temp_directory_path() / "qvbenchXXXXXX" ).string();
        _descriptor = ::mkstemp( path.data() );
        if( _descriptor < 0 ) {
            throw std::runtime_error( "no scratch file in " + path );
        }
        ::unlink( path.c_str() );
    }
    TileFile( const TileFile& ) = delete;
    TileFile& operator=( const TileFile& ) = delete;
    ~TileFile() { ::close( _descriptor ); }

    void read( int tile, void* memory ) const {
        check( ::pread( _descriptor, memory, bytes(), place( tile ) ) );
    }
    void write( int tile, const void* memory ) const {
        check( ::pwrite( _descriptor, memory, bytes(), place( tile ) ) );
    }
    void clear( void* memory ) const { std::memset( memory, 0, bytes() ); }
    std::size_t bytes() const { return static_cast<std::size_t>( tileSize ); }

    const int tileSize;
    const int nbResident;
    const int nbTiles;

private:
    off_t place( int tile ) const { return static_cast<off_t>( tile ) * tileSize; }
    void check( ssize_t transferred ) const {
        if( transferred != tileSize ) {
            throw std::runtime_error( "scratch file" );
        }
    }

    int _descriptor;
};

class FileProtocol : public MbProtocol {
public:
    FileProtocol( const TileFile& file, int tile )
        : _file( file )
        , _tile( tile ) {}

    void load( void* memory, unsigned long long ) override { _file.clear( memory ); }
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
    const TileFile& _file;
    const int _tile;
    bool _isDirty = true;
};

std::uint64_t getLimit( const TileFile& file ) {
    return static_cast<std::uint64_t>( file.nbResident ) * countedSize( file.tileSize );
}

/// Whoever knows the next tile may bring it in.
class Buffers {
public:
    void prefetch( int ) {}
    template <class Touch>
    void access( int tile, bool isWrite, Touch touch ) {
        MbBuffer& buffer = _buffers[static_cast<std::size_t>( tile )];
        if( isWrite ) {
            const MbBufferWrGuardImp guard( buffer );
            touch( guard.getMemory() );
        } else {
            const MbBufferRdGuardImp guard( buffer );
            touch( const_cast<void*>( guard.getMemory() ) );
        }
    }

protected:
    std::vector<MbBuffer> _buffers;
};

template <bool IS_RANDOM>
class MbTiles : public Buffers {
public:
    explicit MbTiles( const TileFile& file ) {
        MbBufferSimpleFactory factory =
            makeFactory( getLimit( file ), MbStateMachine::UNTRACED, IS_RANDOM );
        for( int i = 0; i < file.nbTiles; ++i ) {
            _buffers.push_back( factory.create( "tile",
                                                OPtr<MbProtocol>( new FileProtocol( file, i ) ),
                                                file.tileSize, MbAlignment( 127, 0, 0 ) ) );
        }
    }
};

/// A directory that goes with it.
class CacheFolder {
public:
    CacheFolder()
        : path( ( std::filesystem::temp_directory_path() /
                  ( "qvbench." + std::to_string( ::getpid() ) ) )
                    .string() ) {
        std::filesystem::create_directory( path );
    }
    CacheFolder( const CacheFolder& ) = delete;
    CacheFolder& operator=( const CacheFolder& ) = delete;
    ~CacheFolder() { std::filesystem::remove_all( path ); }

    const std::string path;
};

/// In a media cache, through the system's file cache as the peers.
template <bool PREFETCHES>
class MediaTiles : private CacheFolder, public Buffers {
public:
    explicit MediaTiles( const TileFile& file )
        : _server( LiString( path ), CtEngineOptions::getConfigured(),
                   CtFileOptions{ .unbufferedIO = 0, .alignment = 1 } ) {
        TiBufferFactory factory(
            MbStateMachine::getInstance( MbStateMachine::UNTRACED, MbStateMachine::RELAXED )
                .getInitialState(),
            RCShdPtr<MbManager>( new MbHeapManager( "bench", getLimit( file ),
                                                    OPtr<MbUnloadStrategy>( new MbUnloadLRU ) ) ),
            RCShdPtr<TiStore>( new TiStore( _server ) ) );
        for( int i = 0; i < file.nbTiles; ++i ) {
            _buffers.push_back( factory.create( "tile", file.tileSize ) );
        }
    }
    ~MediaTiles() { _buffers.clear(); }

    void prefetch( int tile ) {
        if( PREFETCHES ) {
            _buffers[static_cast<std::size_t>( tile )].prefetch();
        }
    }
    void waitForPrefetches() {
        _server.blockUntilProcessed();
        // The completion of the last one may still be running.
        std::this_thread::sleep_for( std::chrono::milliseconds( 1 ) );
    }

private:
    CtFileServer _server;
};

/// What one would write without a library: least recently used first, no lock.
class PlainLru {
public:
    explicit PlainLru( const TileFile& file )
        : _file( file )
        , _isKnown( static_cast<std::size_t>( file.nbTiles ) ) {}
    PlainLru( const PlainLru& ) = delete;
    PlainLru& operator=( const PlainLru& ) = delete;
    ~PlainLru() {
        for( Tile& tile : _tiles ) {
            std::free( tile.memory );
        }
    }

    template <class Touch>
    void access( int tile, bool isWrite, Touch touch ) {
        touch( get( tile, isWrite ) );
    }
    void prefetch( int ) {}

private:
    struct Tile {
        int number;
        void* memory;
        bool isDirty;
    };

    void* get( int number, bool isWrite ) {
        const auto found = _byNumber.find( number );
        if( found != _byNumber.end() ) {
            _tiles.splice( _tiles.end(), _tiles, found->second );
            found->second->isDirty |= isWrite;
            return found->second->memory;
        }
        if( _tiles.size() == static_cast<std::size_t>( _file.nbResident ) ) {
            evict();
        }
        void* const memory = std::malloc( _file.bytes() );
        if( _isKnown[static_cast<std::size_t>( number )] ) {
            _file.read( number, memory );
        } else {
            _file.clear( memory );
        }
        _tiles.push_back( { number, memory, isWrite } );
        _byNumber.emplace( number, std::prev( _tiles.end() ) );
        return memory;
    }

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

    const TileFile& _file;
    std::list<Tile> _tiles;
    std::unordered_map<int, std::list<Tile>::iterator> _byNumber;
    std::vector<bool> _isKnown;
};

/// All tiles get their places in the store.
template <class Cache>
void fill( Cache& cache, const TileFile& file ) {
    for( const bool isWrite : { true, false } ) {
        for( int i = 0; i < file.nbTiles; ++i ) {
            cache.access( i, isWrite, []( void* ) {} );
        }
    }
}

/// How many accesses ahead the client knows its tiles.
constexpr int NB_AHEAD = 8;

/// Reads or writes all bytes of tiles at random, 30 of 100 accesses write.
template <class Cache>
void traffic( benchmark::State& state ) {
    const TileFile file( static_cast<int>( state.range( 0 ) ) * 1024 );
    Cache cache( file );
    fill( cache, file );
    std::mt19937 random( 1 );
    const auto draw = [&]() -> std::pair<int, bool> {
        const auto tile = static_cast<int>( random() % static_cast<unsigned>( file.nbTiles ) );
        return { tile, random() % 100 < 30 };
    };
    std::deque<std::pair<int, bool>> next;
    for( int i = 0; i < NB_AHEAD; ++i ) {
        next.push_back( draw() );
    }
    std::uint64_t sum = 0;
    for( auto _ : state ) {
        next.push_back( draw() );
        cache.prefetch( next.back().first );
        const auto [tile, isWrite] = next.front();
        next.pop_front();
        cache.access( tile, isWrite, [&file, &sum, isWrite = isWrite]( void* memory ) {
            const std::span words( static_cast<std::uint64_t*>( memory ), file.bytes() / 8 );
            if( isWrite ) {
                std::fill( words.begin(), words.end(), ++sum );
            } else {
                sum = std::accumulate( words.begin(), words.end(), sum );
            }
            benchmark::DoNotOptimize( sum );
            benchmark::ClobberMemory();
        } );
    }
    state.SetBytesProcessed( state.iterations() * file.tileSize );
}

/// Who locked the tiles last: nobody since a prefetch brought them back, or a thread.
enum class Before { PREFETCH, LOCK_ELSEWHERE, LOCK };

/// Locks half of the resident tiles after they were brought back ahead of need.
template <Before BEFORE>
void lockAfter( benchmark::State& state ) {
    const TileFile file( 64 * 1024 );
    MediaTiles<true> cache( file );
    fill( cache, file );
    const int nbTiles = file.nbResident / 2;
    int first = 0;
    const auto lockAll = [&] {
        for( int i = 0; i < nbTiles; ++i ) {
            cache.access( ( first + i ) % file.nbTiles, false, []( void* ) {} );
        }
    };
    for( auto _ : state ) {
        for( int i = 0; i < nbTiles; ++i ) {
            cache.prefetch( ( first + i ) % file.nbTiles );
        }
        cache.waitForPrefetches();
        if( BEFORE == Before::LOCK ) {
            lockAll();
        } else if( BEFORE == Before::LOCK_ELSEWHERE ) {
            std::thread( lockAll ).join();
        }
        const auto start = std::chrono::steady_clock::now();
        lockAll();
        const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
        state.SetIterationTime( time.count() / nbTiles );
        first = ( first + nbTiles ) % file.nbTiles;
    }
}

void ofManyLocks( benchmark::internal::Benchmark* row ) {
    row->UseManualTime()->Iterations( 100 );
}

void overSizes( benchmark::internal::Benchmark* row ) {
    row->ArgName( "KiB" )->Arg( 64 )->Arg( 256 )->UseRealTime();
    row->Unit( benchmark::kMicrosecond );
}

BENCHMARK( traffic<MbTiles<false>> )->Name( "traffic/MbBuffer_LRU" )->Apply( overSizes );
BENCHMARK( traffic<MbTiles<true>> )->Name( "traffic/MbBuffer_random" )->Apply( overSizes );
BENCHMARK( traffic<MediaTiles<false>> )->Name( "traffic/mediaTiles" )->Apply( overSizes );
BENCHMARK( traffic<MediaTiles<true>> )->Name( "traffic/mediaTiles_prefetched" )->Apply( overSizes );
BENCHMARK( traffic<PlainLru> )->Name( "traffic/plainLRU" )->Apply( overSizes );
BENCHMARK( lockAfter<Before::PREFETCH> )->Name( "lockAfter/prefetch" )->Apply( ofManyLocks );
BENCHMARK( lockAfter<Before::LOCK_ELSEWHERE> )
    ->Name( "lockAfter/lockElsewhere" )
    ->Apply( ofManyLocks );
BENCHMARK( lockAfter<Before::LOCK> )->Name( "lockAfter/lock" )->Apply( ofManyLocks );

} // namespace
