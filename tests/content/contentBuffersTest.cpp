#include <base/failure/exStandard.h>
#include <resmgt/content/test/ctTestHandle.h>
#include <resmgt/content/test/ctTestStores.h>
#include <resmgt/memoryBuffers/mbBufferRdGuardImp.h>
#include <resmgt/memoryBuffers/mbBufferSimpleFactory.h>
#include <resmgt/memoryBuffers/mbBufferWrGuardImp.h>
#include <resmgt/memoryBuffers/mbHeapManager.h>
#include <resmgt/memoryBuffers/mbProtocol.h>
#include <resmgt/memoryBuffers/mbStateMachine.h>
#include <resmgt/memoryBuffers/mbUnloadLRU.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <list>
#include <random>

/// Buffers over a content server whose transfers fail now and then, and in memory that is short:
/// nobody waits for ever, and nothing is lost. The watchdog makes a hang a failure.

namespace Qv {
namespace {

constexpr unsigned int SIZE = 4096;
const MbAlignment ALIGNMENT( 127, 0, 0 );

/// A tile's content, in a block of the server.
class BlockProtocol : public MbProtocol {
public:
    explicit BlockProtocol( CtServer& server )
        : _server( server )
        , _tile( server.createTile( SIZE ).tile.getSerialId(), 0, SIZE ) {}

    void reload( void* memory, unsigned long long ) override { _server.read( _tile, memory, {} ); }
    void asyncReload( void* memory, unsigned long long, LkAsyncHandle* handle ) override {
        _server.asyncRead( _tile, memory, {}, handle );
    }
    bool unload( void* memory, unsigned long long ) override {
        _server.write( _tile, memory, {} );
        return true;
    }
    void asyncSync( void* memory, unsigned long long, LkAsyncHandle* handle ) override {
        _server.asyncWrite( _tile, memory, {}, handle );
    }

private:
    CtServer& _server;
    const CtPxTileId _tile;
};

/// A tile of equal bytes.
struct Tile {
    MbBuffer buffer;
    /// Changes under the buffer's write lock.
    std::atomic<unsigned char> version = 0;
};

void expectVersion( const Tile& tile, const void* memory ) {
    const auto* const bytes = static_cast<const unsigned char*>( memory );
    const unsigned char version = tile.version;
    EXPECT_EQ( std::count( bytes, bytes + SIZE, version ), SIZE );
}

void use( Tile& tile, unsigned int choice ) {
    switch( choice ) {
    case 0:
    case 1: {
        const MbBufferRdGuardImp guard( tile.buffer );
        expectVersion( tile, guard.getMemory() );
        break;
    }
    case 2: {
        const MbBufferWrGuardImp guard( tile.buffer );
        expectVersion( tile, guard.getMemory() );
        std::memset( guard.getMemory(), ++tile.version, SIZE );
        break;
    }
    case 3:
        tile.buffer.sync();
        break;
    case 4:
        tile.buffer.asyncSync();
        break;
    default:
        tile.buffer.prefetch();
    }
}

void useAtRandom( std::list<Tile>& tiles, unsigned int seed ) {
    std::minstd_rand random( seed );
    for( long step = scaledCount( 10000 ); step > 0; --step ) {
        Tile& tile =
            *std::next( tiles.begin(), static_cast<std::ptrdiff_t>( random() % tiles.size() ) );
        try {
            use( tile, static_cast<unsigned int>( random() % 8 ) );
        } catch( const ExInternalError& failure ) {
            EXPECT_STREQ( failure.getReason(), "torn cable" );
        }
    }
}

/// Requests that fill the queue again and again.
void flood( CtServer& server, const std::atomic<bool>& isOver ) {
    const CtPxTileId tile( server.createTile( 1 ).tile.getSerialId(), 0, 1 );
    std::vector<char> memory( 200 );
    while( !isOver ) {
        std::list<TestHandle> handles;
        for( char& byte : memory ) {
            server.asyncRead( tile, &byte, {}, &handles.emplace_back() );
        }
        for( const TestHandle& handle : handles ) {
            handle.await();
        }
    }
}

struct Case {
    const char* name;
    CtEngineOptions options;
    unsigned int nbTilesInMemory;
};

class ContentBuffersTest : public ::testing::TestWithParam<Case> {};

TEST_P( ContentBuffersTest, KeepWhatTheyHoldAndNeverWaitForEver ) {
    std::atomic<bool> isFailing = true;
    std::atomic<std::uint32_t> nbTransfers = 0;
    BlockingStore store( "memory://buffers", GetParam().options );
    store.onTransfer = [&]( const CtPxTileId& tile ) {
        if( isFailing && tile.getSize() == SIZE && nbTransfers++ * 2654435769U >> 28 == 0 ) {
            throw ExInternalError( QV_HERE, "torn cable" );
        }
    };
    const RCShdPtr<MbManager> manager(
        new MbHeapManager( "buffers", GetParam().nbTilesInMemory * ( SIZE + 127ULL ),
                           OPtr<MbUnloadStrategy>( new MbUnloadLRU ) ) );
    MbBufferSimpleFactory factory(
        MbStateMachine::getInstance( MbStateMachine::UNTRACED, MbStateMachine::STRICT )
            .getInitialState(),
        manager );
    std::list<Tile> tiles( 5 );
    for( Tile& tile : tiles ) {
        tile.buffer = factory.create( "tile", OPtr<MbProtocol>( new BlockProtocol( store ) ), SIZE,
                                      ALIGNMENT );
    }
    std::atomic<bool> isOver = false;
    ::testing::internal::CaptureStdout();
    {
        TestThread flooding( [&] { flood( store, isOver ); } );
        TestThreads( 3, [&]( unsigned int i ) {
            useAtRandom( tiles, static_cast<unsigned int>( testSeed() ) + i );
        } ).join();
        isOver = true;
    }
    ::testing::internal::GetCapturedStdout();
    isFailing = false;
    for( Tile& tile : tiles ) {
        const MbBufferRdGuardImp guard( tile.buffer );
        expectVersion( tile, guard.getMemory() );
    }
    EXPECT_GT( store.getCounters().nbFailures, 0u );
    EXPECT_GT( store.getCounters().nbWrites, 0u );
}

INSTANTIATE_TEST_SUITE_P( Engines, ContentBuffersTest,
                          ::testing::Values( Case{ "OneWorkerOneTile", { 0, 1, 1 }, 1 },
                                             Case{ "OnePlainWorkerOneTile", { 1, 0, 1 }, 1 },
                                             Case{ "NoWorkerTwoTiles", { 0, 0, 1 }, 2 },
                                             Case{ "DefaultThreeTiles", { 4, 2, 2 }, 3 } ),
                          []( const auto& kind ) { return std::string( kind.param.name ); } );

} // namespace
} // namespace Qv
