#include <resmgt/content/ctServerFactory.h>
#include <resmgt/content/test/ctTestCache.h>
#include <resmgt/content/test/ctTestHandle.h>
#include <resmgt/content/test/ctTestStores.h>
#include <tests/support/raisedBy.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <list>
#include <random>
#include <tuple>

/// What every kind of server promises; a further kind joins the list at the end.

namespace Qv {
namespace {

struct Kind {
    const char* name;
    /// Without one, the server's directory.
    const char* configuration;
    const char* isUnbuffered;
};

class CtServerContractTest : public ::testing::TestWithParam<Kind> {
protected:
    CtPxTileId piece( const CtStTileId& tile, unsigned int offset, unsigned int size ) const {
        return CtPxTileId( tile.getSerialId(), offset, size );
    }
    CtPxTileId whole( const CtStTileId& tile ) const { return piece( tile, 0, tile.getSize() ); }
    std::string read( const CtPxTileId& tile, const CtHintPtr& hint = {} ) {
        const TestMemory memory( *_server, tile.getSize() );
        _server->read( tile, memory.get(), hint );
        return memory.text();
    }
    void write( const CtPxTileId& tile, char fill, const CtHintPtr& hint = {} ) {
        const TestMemory memory( *_server, tile.getSize(), fill );
        _server->write( tile, memory.get(), hint );
    }
    std::set<CtSerialId> ids() const {
        const OPtr<Set<CtSerialId>> found( _server->getSerialIds() );
        EXPECT_EQ( _server->getNbSerialIds(), found->size() );
        return { found->begin(), found->end() };
    }

    const CollectedMessages _messages;
    const TempDirectory _directory;
    const LiString _configuration = GetParam().configuration != nullptr
                                        ? LiString( GetParam().configuration )
                                        : LiString( _directory.path().string() );
    const ScopedEnvironment _isUnbuffered{ "QV_UNBUFFERED_IO", GetParam().isUnbuffered };
    OPtr<CtServer> _server{ CtServerFactory::createServer( _configuration ) };
};

TEST_P( CtServerContractTest, KeepsBlocksUntilTheyAreRemoved ) {
    EXPECT_EQ( _server->getPath(), _configuration );
    EXPECT_GT( _server->getFreeSpace(), 0u );
    const CtStTileId first = _server->createTile( 100 ).tile;
    const CtStTileId second = _server->createTile( 0 ).tile;
    EXPECT_EQ( first.getSize(), 100u );
    EXPECT_EQ( ids(), ( std::set{ first.getSerialId(), second.getSerialId() } ) );
    const CtStTileId otherSize( first.getSerialId(), 100 + _server->getBlockSize() );
    const CtStTileId unknown( CtSerialId( first.getSerialId() + second.getSerialId() + 1 ), 100 );
    const std::tuple<CtStTileId, int, bool> cases[] = {
        { first, CtServer::WITH_SIZE, true },    { first, CtServer::ANY_SIZE, true },
        { second, CtServer::WITH_SIZE, true },   { otherSize, CtServer::WITH_SIZE, false },
        { otherSize, CtServer::ANY_SIZE, true }, { unknown, CtServer::ANY_SIZE, false },
        { unknown, CtServer::WITH_SIZE, false },
    };
    for( const auto& [tile, mode, isValid] : cases ) {
        EXPECT_EQ( _server->isValid( tile, mode ), isValid );
    }
    _server->removeTile( first.getSerialId() );
    EXPECT_FALSE( _server->isValid( first, CtServer::ANY_SIZE ) );
    EXPECT_EQ( ids(), std::set{ second.getSerialId() } );
    EXPECT_NE( raisedBy( [&] { _server->removeTile( first.getSerialId() ); } ), "" );
    EXPECT_NE( raisedBy( [&] { read( whole( first ) ); } ), "" );
    TestHandle handle;
    const TestMemory memory( *_server, first.getSize() );
    if( raisedBy( [&] {
            _server->asyncRead( whole( first ), memory.get(), {}, &handle );
        } ).empty() ) {
        EXPECT_EQ( handle.await(), "F" );
    } else {
        EXPECT_EQ( handle.getCalls(), "" );
    }
}

TEST_P( CtServerContractTest, GivesBackTheBytesOfEachPieceOrZeros ) {
    const unsigned int unit = _server->getBlockSize();
    const auto [tile, hint] = _server->createTile( 3 * unit + unit / 2 );
    EXPECT_EQ( read( whole( tile ), hint ), std::string( tile.getSize(), '\0' ) );
    write( piece( tile, unit, unit ), 'b', hint );
    write( piece( tile, 3 * unit, unit / 2 ), 'd' );
    write( piece( tile, 0, 0 ), 'x' );
    const std::string expected = std::string( unit, '\0' ) + std::string( unit, 'b' ) +
                                 std::string( unit, '\0' ) + std::string( unit / 2, 'd' );
    EXPECT_EQ( read( whole( tile ) ), expected );
    EXPECT_EQ( read( piece( tile, unit, 2 * unit ) ), expected.substr( unit, 2 * unit ) );
    EXPECT_EQ( read( piece( tile, unit, 0 ) ), "" );
}

TEST_P( CtServerContractTest, TakesAnyHint ) {
    const CtStTileId tile = _server->createTile( _server->getBlockSize() ).tile;
    const CtStTileId other = _server->createTile( _server->getBlockSize() ).tile;
    write( whole( tile ), 't' );
    write( whole( other ), 'o' );
    struct Foreign : CtHint {};
    const TestMemory memory( *_server, tile.getSize() );
    const CtHintPtr hints[] = { {},
                                CtHintPtr( new Foreign ),
                                _server->read( whole( tile ), memory.get(), {} ),
                                _server->read( whole( other ), memory.get(), {} ),
                                _server->write( whole( other ), memory.get(), {} ) };
    for( const CtHintPtr& hint : hints ) {
        write( whole( tile ), 'u', hint );
        EXPECT_EQ( read( whole( tile ), hint ), std::string( tile.getSize(), 'u' ) );
        EXPECT_EQ( read( whole( other ), hint ), memory.text() );
    }
}

TEST_P( CtServerContractTest, CompletesEachRequestOnceWhateverTheCompletionDoes ) {
    const CtStTileId tile = _server->createTile( _server->getBlockSize() ).tile;
    const TestMemory memory( *_server, tile.getSize(), 'm' );
    for( const std::size_t nbRaising : { 0u, 1u, 2u, 3u } ) {
        TestHandle handle( nbRaising );
        _server->asyncWrite( whole( tile ), memory.get(), {}, &handle );
        const std::string expected = std::string( "SFF" ).substr( 0, nbRaising + 1 );
        EXPECT_EQ( handle.await( expected.size() ), expected );
        // Whatever would be called too often is called before the server has gone on.
        TestHandle next;
        _server->asyncRead( whole( tile ), memory.get(), {}, &next );
        next.await();
        EXPECT_EQ( handle.getCalls(), expected );
    }
    EXPECT_NE( raisedBy( [&] { _server->asyncRead( whole( tile ), memory.get(), {}, nullptr ); } ),
               "" );
}

TEST_P( CtServerContractTest, CallsBackWithoutALockAndWithTheBytesMoved ) {
    const CtStTileId tile = _server->createTile( _server->getBlockSize() ).tile;
    write( whole( tile ), 'w' );
    const TestMemory memory( *_server, tile.getSize() );
    std::string seen;
    TestHandle handle( 0, [&] {
        seen = memory.text();
        TestThread other( [&] {
            EXPECT_EQ( read( whole( tile ) ), seen );
            _server->removeTile( _server->createTile( 1 ).tile.getSerialId() );
            EXPECT_GE( _server->getCounters().nbAsync, 1u );
        } );
        other.join();
    } );
    _server->asyncRead( whole( tile ), memory.get(), {}, &handle );
    EXPECT_EQ( handle.await(), "S" );
    EXPECT_EQ( seen, std::string( tile.getSize(), 'w' ) );
}

TEST_P( CtServerContractTest, EndsWithAllRequestsDoneThoseOfCompletionsIncluded ) {
    const CtStTileId tile = _server->createTile( _server->getBlockSize() ).tile;
    const TestMemory memory( *_server, tile.getSize(), 'm' );
    constexpr std::size_t NB_REQUESTS = 300;
    std::list<TestHandle> handles;
    CtServer& server = *_server;
    const std::function<void()> submit = [&] {
        if( handles.size() < NB_REQUESTS ) {
            server.asyncWrite( whole( tile ), memory.get(), {},
                               &handles.emplace_back( 0, submit ) );
        }
    };
    submit();
    _server.reset();
    EXPECT_EQ( handles.size(), NB_REQUESTS );
    expectEach( handles, "S" );
}

TEST_P( CtServerContractTest, WaitsForTransfersButNotForCompletions ) {
    const CtStTileId tile = _server->createTile( _server->getBlockSize() ).tile;
    const TestMemory memory( *_server, tile.getSize(), 'm' );
    std::list<TestHandle> handles;
    std::list<TestMemory> memories;
    for( int i = 0; i < 20; ++i ) {
        _server->asyncRead( whole( tile ), memories.emplace_back( *_server, tile.getSize() ).get(),
                            {}, &handles.emplace_back() );
    }
    _server->blockUntilProcessed();
    EXPECT_EQ( _server->getCounters().nbReads, 20u );
    Gate isLooked( "the test has looked" );
    TestHandle held( 0, [&] { isLooked.wait(); } );
    TestThread caller( [&] { _server->asyncRead( whole( tile ), memory.get(), {}, &held ); } );
    waitUntil( [&] { return _server->getCounters().nbReads == 21; }, "the transfer" );
    _server->blockUntilProcessed();
    EXPECT_EQ( held.getCalls(), "" );
    isLooked.open();
    EXPECT_EQ( held.await(), "S" );
    expectEach( handles, "S" );
}

TEST_P( CtServerContractTest, ClearsAndNeverGivesAnIdTwice ) {
    std::mutex mutex;
    std::set<CtSerialId> given;
    constexpr int NB_TILES = 50;
    for( int round = 0; round < 2; ++round ) {
        TestThreads( 3, [&] {
            for( int made = 0; made < NB_TILES; ++made ) {
                const CtSerialId id = _server->createTile( 1 ).tile.getSerialId();
                const std::lock_guard guard( mutex );
                EXPECT_TRUE( given.insert( id ).second );
            }
        } ).join();
        EXPECT_EQ( _server->getNbSerialIds(), 3u * NB_TILES );
        _server->clear();
        EXPECT_TRUE( ids().empty() );
    }
}

/// One client's random traffic on blocks of its own; each holds copies of one number.
class Client {
public:
    Client( CtServer& server, unsigned int seed )
        : _server( server )
        , _random( seed ) {}

    void run( long nbSteps ) {
        std::vector<Owned> blocks( 6 );
        for( Owned& block : blocks ) {
            block.tile = _server.createTile( SIZE ).tile;
        }
        for( ; nbSteps > 0; --nbSteps ) {
            step( blocks[_random() % blocks.size()] );
        }
        for( Owned& block : blocks ) {
            finish( block );
            _server.removeTile( block.tile.getSerialId() );
        }
    }

private:
    static constexpr unsigned int SIZE = 4096;

    struct Owned {
        CtStTileId tile;
        CtHintPtr hint;
        char content = '\0';
        std::unique_ptr<TestHandle> handle;
        std::unique_ptr<TestMemory> memory;
    };

    /// Ends the block's asynchronous request, and looks at what it has read.
    void finish( Owned& block ) {
        if( block.handle ) {
            EXPECT_EQ( block.handle->await(), "S" );
            EXPECT_EQ( block.memory->text(), std::string( SIZE, block.content ) );
            block.handle.reset();
        }
    }
    void step( Owned& block ) {
        finish( block );
        const CtPxTileId tile( block.tile.getSerialId(), 0, SIZE );
        const bool isWrite = _random() % 3 == 0;
        block.content = isWrite ? static_cast<char>( 'a' + _random() % 26 ) : block.content;
        block.memory = std::make_unique<TestMemory>( _server, SIZE, isWrite ? block.content : '?' );
        block.handle = std::make_unique<TestHandle>();
        char* const memory = block.memory->get();
        const bool isAsync = _random() % 2 == 0;
        if( isAsync ) {
            block.hint = isWrite
                             ? _server.asyncWrite( tile, memory, block.hint, block.handle.get() )
                             : _server.asyncRead( tile, memory, block.hint, block.handle.get() );
        } else {
            block.handle->asyncSucceeded();
            block.hint = isWrite ? _server.write( tile, memory, block.hint )
                                 : _server.read( tile, memory, block.hint );
        }
        if( _random() % 4 == 0 ) {
            block.hint = CtHintPtr();
        }
        if( _random() % 32 == 0 ) {
            _server.blockUntilProcessed();
        }
    }

    CtServer& _server;
    std::minstd_rand _random;
};

TEST_P( CtServerContractTest, ServesManyClientsAtOnce ) {
    const auto seed = static_cast<unsigned int>( testSeed() );
    TestThreads( 4, [&]( unsigned int i ) {
        Client( *_server, seed + i ).run( scaledCount( 1000 ) );
    } ).join();
    const CtCounters counters = _server->getCounters();
    EXPECT_EQ( counters.nbFailures, 0u );
    EXPECT_EQ( counters.nbOpenFiles, 0u );
    EXPECT_EQ( counters.nbBytesRead, counters.nbReads * 4096 );
    EXPECT_EQ( counters.nbBytesWritten, counters.nbWrites * 4096 );
    EXPECT_TRUE( ids().empty() );
}

const Kind kinds[] = {
    { "Blocking", "memory://test", "" },
    { "Plain", "plain://test", "" },
    { "Inline", "inline://test", "" },
    { "EventLoop", "event://test", "" },
    { "File", nullptr, "0" },
    { "FileUnbuffered", nullptr, "1" },
};

INSTANTIATE_TEST_SUITE_P( All, CtServerContractTest, ::testing::ValuesIn( kinds ),
                          []( const auto& kind ) { return std::string( kind.param.name ); } );

TEST( CtEventStoreTest, LostConnectionFailsEachPendingRequestOnce ) {
    EventStore store( "event://test" );
    const CtStTileId tile = store.createTile( 8 ).tile;
    char memory[8] = {};
    std::list<TestHandle> handles;
    store.pause();
    for( int i = 0; i < 5; ++i ) {
        store.asyncRead( CtPxTileId( tile.getSerialId(), 0, 8 ), memory, {},
                         &handles.emplace_back() );
    }
    store.loseConnection();
    store.resume();
    store.blockUntilProcessed();
    expectEach( handles, "F" );
    EXPECT_EQ( store.getCounters().nbFailures, 5u );
}

} // namespace
} // namespace Qv
