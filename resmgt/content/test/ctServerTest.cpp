#include <base/failure/exStandard.h>
#include <resmgt/content/ctEx.h>
#include <resmgt/content/ctServerFactory.h>
#include <resmgt/content/test/ctStage.h>
#include <resmgt/content/test/ctTestCache.h>
#include <resmgt/content/test/ctTestHandle.h>
#include <resmgt/content/test/ctTestStores.h>
#include <tests/support/processCounts.h>
#include <tests/support/raisedBy.h>
#include <tests/support/testThread.h>

#include <sstream>
#include <utility>

namespace Qv {
namespace {

template <class Id>
std::string dumped( const Id& id ) {
    std::ostringstream stream;
    stream << std::hex << std::showbase;
    id.dump( stream );
    return stream.str();
}

TEST( CtTileIdTest, PrintsSerialIdsAsTwoPaddedDecimals ) {
    const std::pair<std::uint64_t, const char*> cases[] = {
        { 0, "0000000000-0000000000" },
        { 0xC00000159, "0000000012-0000000345" },
        { UINT32_MAX, "0000000000-4294967295" },
        { UINT64_MAX, "4294967295-4294967295" },
    };
    for( const auto& [number, text] : cases ) {
        std::ostringstream stream;
        stream << std::hex << std::showbase << CtSerialId( number ) << ' ' << 255;
        EXPECT_EQ( stream.str(), text + std::string( " 0xff" ) );
        EXPECT_EQ( std::uint64_t{ CtSerialId( number ) }, number );
    }
    EXPECT_EQ( dumped( CtStTileId( CtSerialId( 0xC00000159 ), 65536 ) ),
               "Storage tile id: 0000000012-0000000345, size = 65536" );
    EXPECT_EQ( dumped( CtPxTileId( CtSerialId( 1 ), 4096, UINT_MAX ) ),
               "Processing tile id: 0000000000-0000000001, offset = 4096, size = 4294967295" );
    EXPECT_EQ( dumped( CtStTileId() ), "Storage tile id: 0000000000-0000000000, size = 0" );
}

TEST( CtTileIdTest, OrdersWithoutRegardToSizes ) {
    // In ascending order, the two of one line being equal; big numbers must not count as signed.
    const struct {
        CtPxTileId tile;
        CtPxTileId same;
    } pieces[] = {
        { CtPxTileId(), { CtSerialId( 0 ), 0, 7 } },
        { { CtSerialId( 0 ), UINT_MAX, 1 }, { CtSerialId( 0 ), UINT_MAX, 2 } },
        { { CtSerialId( 1 ), 0, 9 }, { CtSerialId( 1 ), 0, 1 } },
        { { CtSerialId( UINT64_MAX ), 0, 0 }, { CtSerialId( UINT64_MAX ), 0, 3 } },
    };
    for( std::size_t i = 0; i < std::size( pieces ); ++i ) {
        for( std::size_t j = 0; j < std::size( pieces ); ++j ) {
            const CtPxTileId& left = pieces[i].tile;
            const CtPxTileId& right = pieces[j].same;
            EXPECT_EQ( left.equal( right ), i == j );
            EXPECT_EQ( left.less( right ), i < j );
            const CtStTileId leftBlock( left.getSerialId(), left.getSize() );
            const CtStTileId rightBlock( right.getSerialId(), right.getSize() );
            EXPECT_EQ( leftBlock.equal( rightBlock ), left.getSerialId() == right.getSerialId() );
            EXPECT_EQ( leftBlock.less( rightBlock ), left.getSerialId() < right.getSerialId() );
        }
    }
}

TEST( CtServerFactoryTest, FirstOfThoseThatAreThereMakesTheServer ) {
    std::string makers;
    const auto makerOf = [&]( char name ) {
        return [&makers, name]( const LiString& configuration ) {
            makers += name;
            return new BlockingStore( configuration );
        };
    };
    const auto make = [] { OPtr<CtServer>( CtServerFactory::createServer( "local:x" ) ).reset(); };
    auto first = std::make_unique<TestFactory>( "local:", makerOf( 'a' ) );
    const TestFactory second( "local:", makerOf( 'b' ) );
    make();
    first.reset();
    make();
    first = std::make_unique<TestFactory>( "local:", makerOf( 'a' ) );
    make();
    EXPECT_EQ( makers, "abb" );
    EXPECT_EQ( raisedBy<CtEx>( [] {
                   const OPtr<CtServer> server( CtServerFactory::createServer( "nobody:y" ) );
               } ),
               "Unknown server type (nobody:y)." );
}

TEST( CtServerMessageTest, AnnouncesItselfWithItsPath ) {
    const CollectedMessages messages;
    const BlockingStore store( "memory://100%% full %1" );
    EXPECT_THAT( messages.get(),
                 ElementsAre( "4 Initializing media cache memory://100%% full %1" ) );
}

/// The life of the process's server, which a process can see once.
void liveOnce() {
    EXPECT_EQ( raisedBy<CtEx>( [] { CtServer::getInstance(); } ), "Unknown server type ()." );
    const TestFactory factory( "local:", []( const LiString& configuration ) -> CtServer* {
        return configuration == "local:null" ? nullptr
                                             : throw ExInternalError( QV_HERE, "no network" );
    } );
    CtServer::configure( "local:null" );
    EXPECT_THAT( raisedBy( [] { CtServer::getInstance(); } ), HasSubstr( "\"pointee\"" ) );
    CtServer::configure( "local:raises" );
    EXPECT_EQ( raisedBy( [] { CtServer::getInstance(); } ), "no network" );
    const int nbThreads = countThreads();
    CtServer::configure( "memory://process" );
    std::mutex mutex;
    std::set<CtServer*> servers;
    TestThreads( 4, [&] {
        CtServer* const server = &CtServer::getInstance();
        const std::lock_guard guard( mutex );
        servers.insert( server );
    } ).join();
    EXPECT_EQ( servers.size(), 1u );
    EXPECT_EQ( CtServer::getInstance().getPath(), "memory://process" );
    EXPECT_THAT( raisedBy( [] { CtServer::configure( "event://late" ); } ),
                 HasSubstr( "_state == UNINITIALIZED" ) );
    // The end waits for requests.
    Stage stage;
    auto& store = dynamic_cast<BlockingStore&>( CtServer::getInstance() );
    store.onTransfer = [&]( const CtPxTileId& ) { stage.pass( 0 ); };
    const CtStTileId tile = store.createTile( 1 ).tile;
    char memory = '\0';
    TestHandle handle;
    store.asyncRead( CtPxTileId( tile.getSerialId(), 0, 1 ), &memory, {}, &handle );
    stage.awaitArrivals( 1 );
    TestThread ending( [] { CtServer::finalize(); } );
    ending.waitUntilBlocked();
    EXPECT_EQ( handle.getCalls(), "" );
    stage.open();
    ending.join();
    EXPECT_EQ( handle.getCalls(), "S" );
    waitUntil( [&] { return countThreads() == nbThreads; }, "the end of the workers" );
}

void expectNoServerAnyMore() {
    for( int i = 0; i < 2; ++i ) {
        EXPECT_THAT( raisedBy( [] { CtServer::getInstance(); } ),
                     HasSubstr( "\"_state == UNINITIALIZED\"" ) );
        CtServer::finalize();
    }
}

TEST( CtServerDeathTest, LivesOnceAProcess ) {
    void ( *const lives[] )() = {
        &liveOnce,
        [] { CtServer::finalize(); },
        [] {
            CtServer::configure( "memory://forgetful" );
            dynamic_cast<BlockingStore&>( CtServer::getInstance() ).mustDrain = false;
            CtServer::finalize();
        },
    };
    for( const auto live : lives ) {
        EXPECT_EXIT(
            {
                live();
                expectNoServerAnyMore();
                ::_exit( HasFailure() ? 1 : 0 );
            },
            ::testing::ExitedWithCode( 0 ), "" );
    }
}

} // namespace
} // namespace Qv
