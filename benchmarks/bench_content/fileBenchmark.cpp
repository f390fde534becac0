#include <resmgt/content/ctFileServer.h>
#include <resmgt/locks/lkAsyncHandle.h>
#include <resmgt/osal/osEnv.h>
#include <resmgt/osal/osFile.h>

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

/// The media cache, in a directory of its own below the working directory: the volume of
/// temporary files may be memory.
///
/// *makeWriteRemove* is the time of 10,000 blocks of 4 KiB that are made, written, and then
/// removed; its peer makes the calls that this needs by hand. *depth* is the time of a random read
/// of a block, unbuffered, while as many are under way as the first argument says, the second being
/// the block's size in KiB; its peer are as many threads that read the same files by hand.
/// *traffic* is the time of a random transfer of 64 KiB, 30 % of them writes, between memory and
/// the system's file cache, with hints kept; its peer has all blocks in one file. *amongMany* is
/// the time to make, read and remove a block where there are as many others as the argument says,
/// flat or with two levels.

namespace {

using namespace Qv;
namespace fs = std::filesystem;

constexpr unsigned int KIB = 1024;
constexpr const char* PLACE = "bench_content.cache";

struct Free {
    void operator()( char* bytes ) const { std::free( bytes ); }
};
using Memory = std::unique_ptr<char, Free>;

Memory makeMemory( std::size_t size ) {
    Memory memory( static_cast<char*>( std::aligned_alloc( 4096, size ) ) );
    std::fill_n( memory.get(), size, 'm' );
    return memory;
}

/// A cache of its own, which goes at the end.
class Cache {
public:
    Cache( bool isUnbuffered, int nbLevels, const CtEngineOptions& options )
        : _unbuffered( "QV_UNBUFFERED_IO", isUnbuffered ? "1" : "0", OsEnv::VariableGuard::SET )
        , _levels( "QV_IO_LEVELS", std::to_string( nbLevels ), OsEnv::VariableGuard::SET ) {
        fs::remove_all( PLACE );
        fs::create_directory( PLACE );
        _server =
            std::make_unique<CtFileServer>( LiString( fs::absolute( PLACE ).string() ), options );
    }
    ~Cache() {
        _server.reset();
        fs::remove_all( PLACE );
    }

    CtFileServer& operator*() const { return *_server; }
    CtFileServer* operator->() const { return _server.get(); }

private:
    const OsEnv::VariableGuard _unbuffered;
    const OsEnv::VariableGuard _levels;
    std::unique_ptr<CtFileServer> _server;
};

bool canGoUnbuffered() {
    return OsFile( OsFilePath::getCurrentDir() ).getUnbufferedInfo().supported;
}

std::string fileOf( CtSerialId id ) {
    char name[64];
    std::snprintf( name, sizeof( name ), "%s/%010u-%010u", PLACE,
                   static_cast<unsigned int>( std::uint64_t( id ) >> 32U ),
                   static_cast<unsigned int>( id ) );
    return name;
}

void check( bool isDone ) {
    if( !isDone ) {
        std::perror( "bench_content" );
        std::abort();
    }
}

// ---- making and removing -----------------------------------------------------------------------

constexpr unsigned int NB_MADE = 10000;
constexpr unsigned int SMALL = 4 * KIB;

void makeWriteRemove( benchmark::State& state ) {
    const Cache cache( false, 0, { 0, 0, 0 } );
    const Memory memory = makeMemory( SMALL );
    std::vector<CtSerialId> ids( NB_MADE );
    for( auto _ : state ) {
        for( CtSerialId& id : ids ) {
            id = cache->createTile( SMALL ).tile.getSerialId();
            cache->write( CtPxTileId( id, 0, SMALL ), memory.get(), {} );
        }
        for( const CtSerialId id : ids ) {
            cache->removeTile( id );
        }
    }
    state.SetItemsProcessed( state.iterations() * NB_MADE );
}

void makeWriteRemoveByHand( benchmark::State& state ) {
    const Cache cache( false, 0, { 0, 0, 0 } );
    const Memory memory = makeMemory( SMALL );
    std::uint64_t last = 0;
    for( auto _ : state ) {
        const std::uint64_t first = last;
        for( unsigned int i = 0; i < NB_MADE; ++i ) {
            const std::string path = fileOf( CtSerialId( 1ULL << 40U | ++last ) );
            int file = ::open( path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666 );
            check( ::fallocate( file, 0, 0, SMALL ) == 0 && ::close( file ) == 0 );
            file = ::open( path.c_str(), O_RDWR | O_CLOEXEC );
            check( ::pwrite( file, memory.get(), SMALL, 0 ) == SMALL && ::close( file ) == 0 );
        }
        for( std::uint64_t id = first + 1; id <= last; ++id ) {
            check( ::unlink( fileOf( CtSerialId( 1ULL << 40U | id ) ).c_str() ) == 0 );
        }
    }
    state.SetItemsProcessed( state.iterations() * NB_MADE );
}

// ---- transfers under way -----------------------------------------------------------------------

constexpr unsigned int TOTAL = 256 * KIB * KIB;

/// The blocks of a series, written once.
struct Blocks {
    Blocks( CtFileServer& server, unsigned int blockSize, unsigned int total )
        : size( blockSize )
        , memory( makeMemory( blockSize ) ) {
        for( unsigned int i = 0; i < total / blockSize; ++i ) {
            const CtSerialId id = server.createTile( blockSize ).tile.getSerialId();
            ids.push_back( id );
            hints.push_back( server.write( CtPxTileId( id, 0, size ), memory.get(), {} ) );
        }
    }

    const unsigned int size;
    const Memory memory;
    std::vector<CtSerialId> ids;
    std::vector<CtHintPtr> hints;
};

/// Asks for the next block as soon as it has got one.
class Reader : public LkAsyncHandle {
public:
    Reader( CtFileServer& server, const Blocks& blocks, std::atomic<long>& nbLeft,
            std::atomic<int>& nbRunning, unsigned int seed )
        : _server( server )
        , _blocks( blocks )
        , _nbLeft( nbLeft )
        , _nbRunning( nbRunning )
        , _memory( makeMemory( blocks.size ) )
        , _random( seed ) {}

    void asyncSucceeded() override {
        if( _nbLeft.fetch_sub( 1 ) <= 0 ) {
            --_nbRunning;
            return;
        }
        const std::size_t i = _random() % _blocks.ids.size();
        _server.asyncRead( CtPxTileId( _blocks.ids[i], 0, _blocks.size ), _memory.get(),
                           _blocks.hints[i], this );
    }
    void asyncFailed() override { std::abort(); }

private:
    CtFileServer& _server;
    const Blocks& _blocks;
    std::atomic<long>& _nbLeft;
    std::atomic<int>& _nbRunning;
    const Memory _memory;
    std::mt19937 _random;
};

long readsOf( unsigned int size ) {
    return size >= 1024 * KIB ? 200 : 2000;
}

void depth( benchmark::State& state ) {
    if( !canGoUnbuffered() ) {
        state.SkipWithError( "no unbuffered transfers here" );
        return;
    }
    const int nbUnderWay = static_cast<int>( state.range( 0 ) );
    const unsigned int size = static_cast<unsigned int>( state.range( 1 ) ) * KIB;
    const Cache cache( true, 0, { 0, nbUnderWay, 0 } );
    const Blocks blocks( *cache, size, TOTAL );
    for( auto _ : state ) {
        std::atomic<long> nbLeft = readsOf( size );
        std::atomic<int> nbRunning = nbUnderWay;
        std::vector<std::unique_ptr<Reader>> readers;
        for( int i = 0; i < nbUnderWay; ++i ) {
            readers.push_back( std::make_unique<Reader>( *cache, blocks, nbLeft, nbRunning,
                                                         static_cast<unsigned int>( i ) ) );
            readers.back()->asyncSucceeded();
        }
        while( nbRunning > 0 ) {
            std::this_thread::sleep_for( std::chrono::microseconds( 50 ) );
        }
        cache->blockUntilProcessed();
    }
    state.SetBytesProcessed( state.iterations() * readsOf( size ) * size );
}

void depthByHand( benchmark::State& state ) {
    if( !canGoUnbuffered() ) {
        state.SkipWithError( "no unbuffered transfers here" );
        return;
    }
    const unsigned int size = static_cast<unsigned int>( state.range( 1 ) ) * KIB;
    const Cache cache( true, 0, { 0, 0, 0 } );
    const Blocks blocks( *cache, size, TOTAL );
    std::vector<int> files;
    for( const CtSerialId id : blocks.ids ) {
        files.push_back( ::open( fileOf( id ).c_str(), O_RDONLY | O_DIRECT | O_CLOEXEC ) );
    }
    for( auto _ : state ) {
        std::atomic<long> nbLeft = readsOf( size );
        std::vector<std::thread> threads;
        for( long i = 0; i < state.range( 0 ); ++i ) {
            threads.emplace_back( [&, i] {
                const Memory memory = makeMemory( size );
                std::mt19937 random( static_cast<unsigned int>( i ) );
                while( nbLeft.fetch_sub( 1 ) > 0 ) {
                    const int file = files[random() % files.size()];
                    check( ::pread( file, memory.get(), size, 0 ) == size );
                }
            } );
        }
        for( std::thread& thread : threads ) {
            thread.join();
        }
    }
    for( const int file : files ) {
        ::close( file );
    }
    state.SetBytesProcessed( state.iterations() * readsOf( size ) * size );
}

// ---- cached transfers --------------------------------------------------------------------------

constexpr unsigned int TILE = 64 * KIB;

template <class Read, class Write>
void moveAtRandom( benchmark::State& state, std::size_t nbBlocks, const Read& read,
                   const Write& write ) {
    std::mt19937 random( 1 );
    for( auto _ : state ) {
        const std::size_t i = random() % nbBlocks;
        if( random() % 10 < 3 ) {
            write( i );
        } else {
            read( i );
        }
    }
    state.SetBytesProcessed( state.iterations() * TILE );
}

void traffic( benchmark::State& state ) {
    const Cache cache( false, 0, { 0, 2, 2 } );
    Blocks blocks( *cache, TILE, TOTAL / 4 );
    const auto piece = [&]( std::size_t i ) { return CtPxTileId( blocks.ids[i], 0, TILE ); };
    moveAtRandom(
        state, blocks.ids.size(),
        [&]( std::size_t i ) { cache->read( piece( i ), blocks.memory.get(), blocks.hints[i] ); },
        [&]( std::size_t i ) {
            cache->write( piece( i ), blocks.memory.get(), blocks.hints[i] );
        } );
}

void trafficInOneFile( benchmark::State& state ) {
    const int file = ::open( ".", O_TMPFILE | O_RDWR | O_CLOEXEC, 0600 );
    const Memory memory = makeMemory( TILE );
    constexpr std::size_t NB_BLOCKS = TOTAL / 4 / TILE;
    for( std::size_t i = 0; i < NB_BLOCKS; ++i ) {
        check( ::pwrite( file, memory.get(), TILE, static_cast<off_t>( i * TILE ) ) == TILE );
    }
    moveAtRandom(
        state, NB_BLOCKS,
        [&]( std::size_t i ) {
            check( ::pread( file, memory.get(), TILE, static_cast<off_t>( i * TILE ) ) == TILE );
        },
        [&]( std::size_t i ) {
            check( ::pwrite( file, memory.get(), TILE, static_cast<off_t>( i * TILE ) ) == TILE );
        } );
    ::close( file );
}

// ---- many blocks -------------------------------------------------------------------------------

void amongMany( benchmark::State& state, int nbLevels ) {
    const Cache cache( false, nbLevels, { 0, 0, 0 } );
    for( long i = 0; i < state.range( 0 ); ++i ) {
        cache->createTile( 0 );
    }
    const Memory memory = makeMemory( SMALL );
    for( auto _ : state ) {
        const CtSerialId id = cache->createTile( SMALL ).tile.getSerialId();
        cache->read( CtPxTileId( id, 0, SMALL ), memory.get(), {} );
        cache->removeTile( id );
    }
}

void amongManyFlat( benchmark::State& state ) {
    amongMany( state, 0 );
}
void amongManyTwoLevels( benchmark::State& state ) {
    amongMany( state, 2 );
}

const std::vector<std::vector<std::int64_t>> DEPTHS{ { 1, 2, 4, 8, 16 }, { 64, 1024 } };

BENCHMARK( makeWriteRemove )->UseRealTime()->Unit( benchmark::kMillisecond );
BENCHMARK( makeWriteRemoveByHand )->UseRealTime()->Unit( benchmark::kMillisecond );
BENCHMARK( depth )->ArgsProduct( DEPTHS )->UseRealTime()->Unit( benchmark::kMillisecond );
BENCHMARK( depthByHand )->ArgsProduct( DEPTHS )->UseRealTime()->Unit( benchmark::kMillisecond );
BENCHMARK( traffic )->UseRealTime();
BENCHMARK( trafficInOneFile )->UseRealTime();
BENCHMARK( amongManyFlat )->RangeMultiplier( 10 )->Range( 1000, 1000000 )->UseRealTime();
BENCHMARK( amongManyTwoLevels )->RangeMultiplier( 10 )->Range( 1000, 1000000 )->UseRealTime();

} // namespace
