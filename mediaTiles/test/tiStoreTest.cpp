#include <mediaTiles/tiStore.h>

#include <mediaTiles/test/tiTestStore.h>
#include <mediaTiles/tiProtocol.h>
#include <resmgt/content/ctEngineOptions.h>
#include <resmgt/content/ctFileServer.h>
#include <tests/support/holdPoint.h>
#include <tests/support/processLimit.h>
#include <tests/support/scopedEnvironment.h>
#include <tests/support/tempDirectory.h>
#include <tests/support/testThread.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <utility>

namespace Qv {
namespace {

std::vector<MbBuffer> makeFilled( TestTiles& tiles, int count, int size = TestTiles::SIZE ) {
    std::vector<MbBuffer> all;
    for( int i = 0; i < count; ++i ) {
        all.push_back( tiles.make( size ) );
        TestTiles::fill( all.back(), static_cast<char>( 'a' + i ) );
        all.back().sync();
    }
    return all;
}

void expectFilled( const std::vector<MbBuffer>& tiles ) {
    for( std::size_t i = 0; i < tiles.size(); ++i ) {
        EXPECT_TRUE( TestTiles::isFilledWith( tiles[i], static_cast<char>( 'a' + i ) ) );
    }
}

std::size_t getNbOpen( const CtServer& server ) {
    return server.getCounters().nbOpenFiles;
}

TEST( TiStoreTest, PlaceGoesToTheNextTileOfItsSizeAndEndsWithTheStore ) {
    FailingStore server;
    server.blockSize = 1000;
    {
        TestTiles tiles( server, 4 );
        std::vector<MbBuffer> kept;
        for( int round = 0; round < 3; ++round ) {
            std::vector<MbBuffer> some = makeFilled( tiles, 10 );
            const std::vector<MbBuffer> small = makeFilled( tiles, 5, 100 );
            EXPECT_EQ( server.getNbSerialIds(), static_cast<unsigned>( 15 + round ) );
            expectFilled( some );
            kept.push_back( some[0] );
        }
    }
    EXPECT_EQ( server.getNbSerialIds(), 0U );
    EXPECT_EQ( getNbOpen( server ), 0U );
}

TEST( TiStoreTest, FewBlocksServeManyTilesAndFewBytesAreReservedForAFew ) {
    FailingStore server;
    TestTiles tiles( server, 4 );
    std::vector<std::vector<MbBuffer>> all;
    const std::pair<int, unsigned> cases[] = { { 1, 1 }, { 1, 2 },  { 1, 3 },  { 1, 3 },
                                               { 4, 4 }, { 56, 7 }, { 64, 8 }, { 65, 10 } };
    for( const auto& [nbMore, nbBlocks] : cases ) {
        all.push_back( makeFilled( tiles, nbMore ) );
        EXPECT_EQ( server.getNbSerialIds(), nbBlocks );
    }
    for( const std::vector<MbBuffer>& some : all ) {
        expectFilled( some );
    }
    // What is large has few neighbours.
    EXPECT_EQ( server.getCounters().nbFailures, 0U );
    FailingStore other;
    TestTiles large( other, 130000 );
    const std::vector<MbBuffer> two = makeFilled( large, 4, 9 << 20 );
    EXPECT_EQ( other.getNbSerialIds(), 4U );
}

TEST( TiStoreTest, ServerThatHasNoRoomForManyTilesIsAskedForFewer ) {
    FailingStore server;
    TestTiles tiles( server, 4 );
    std::vector<MbBuffer> all = makeFilled( tiles, 16 );
    EXPECT_EQ( server.getNbSerialIds(), 5U );
    server.mostBytes = 3 * TestTiles::SIZE;
    const std::vector<MbBuffer> more = makeFilled( tiles, 2 );
    EXPECT_EQ( server.getNbSerialIds(), 6U );
    server.mostBytes = TestTiles::SIZE - 1;
    MbBuffer tile = tiles.make();
    TestTiles::fill( tile, 'x' );
    EXPECT_THROW( tile.sync(), CtEx::ExNotEnoughSpace );
    all.pop_back();
    tile.sync();
    expectFilled( all );
    expectFilled( more );
}

TEST( TiStoreTest, OneThreadMakesABlockAndOthersGetItsPieces ) {
    FailingStore server;
    TestTiles tiles( server, 10 );
    const std::vector<MbBuffer> all = makeFilled( tiles, 4 );
    ASSERT_EQ( server.getNbSerialIds(), 3U );
    HoldPoint create( "create" );
    std::atomic<bool> isFirst = true;
    server.onCreate = [&] {
        if( isFirst.exchange( false ) ) {
            create.pass();
        }
    };
    std::vector<MbBuffer> more;
    for( int i = 0; i < 3; ++i ) {
        more.push_back( tiles.make() );
        TestTiles::fill( more.back(), static_cast<char>( 'a' + i ) );
    }
    TestThread first( [&] { more[0].sync(); } );
    create.waitUntilReached();
    TestThread second( [&] { more[1].sync(); } );
    second.waitUntilBlocked();
    // A completion may do this, which waits for nobody.
    more[2].asyncSync();
    EXPECT_EQ( server.getNbSerialIds(), 4U );
    create.release();
    first.join();
    second.join();
    EXPECT_EQ( server.getNbSerialIds(), 5U );
    expectFilled( more );
}

TEST( TiStoreTest, BlockThatCantBeWrittenIsLeftToTheTilesThatItHas ) {
    for( const bool isAhead : { false, true } ) {
        FailingStore server;
        TestTiles tiles( server, 1 );
        // The last one has the first of four pieces.
        std::vector<MbBuffer> all = makeFilled( tiles, 5 );
        ASSERT_EQ( server.getNbSerialIds(), 4U );
        server.failing = FailingStore::TRANSFER;
        for( int i = 0; i < 3; ++i ) {
            MbBuffer tile = tiles.make();
            TestTiles::fill( tile, 'x' );
            if( isAhead ) {
                tile.asyncSync();
            } else {
                EXPECT_THROW( tile.sync(), ExInternalError );
            }
        }
        server.failing = FailingStore::NOTHING;
        const std::vector<MbBuffer> more = makeFilled( tiles, 3 );
        expectFilled( all );
        expectFilled( more );
        EXPECT_EQ( server.getNbSerialIds(), 5U );
        // The fourth block goes with its last tile.
        all.pop_back();
        EXPECT_EQ( server.getNbSerialIds(), 4U );
    }
}

TEST( TiStoreTest, HintsOfAllStoresTogetherStayOpenUpToTheLimit ) {
    const ProcessLimit limit( RLIMIT_NOFILE, 40 );
    const auto most =
        static_cast<std::size_t>( std::min( 40 / 2, CtEngineOptions::getMaxNbOpenFiles() ) );
    FailingStore servers[2];
    servers[0].blockSize = servers[1].blockSize = 1000;
    TestTiles first( servers[0], 4 );
    TestTiles second( servers[1], 4 );
    const std::vector<MbBuffer> some = makeFilled( first, 15 );
    EXPECT_EQ( getNbOpen( servers[0] ), std::min<std::size_t>( 15, most ) );
    const std::vector<MbBuffer> more = makeFilled( second, 15 );
    EXPECT_EQ( getNbOpen( servers[0] ) + getNbOpen( servers[1] ), most );
    EXPECT_EQ( getNbOpen( servers[1] ), std::min<std::size_t>( 15, most ) );
    for( const MbBuffer& tile : some ) {
        TestTiles::lock( tile );
        EXPECT_LE( getNbOpen( servers[0] ) + getNbOpen( servers[1] ), most );
    }
    // A lower limit takes effect with the next store.
    const ProcessLimit lower( RLIMIT_NOFILE, 20 );
    const TestTiles third( servers[0], 1 );
    EXPECT_LE( getNbOpen( servers[0] ) + getNbOpen( servers[1] ), 10U );
}

TEST( TiStoreTest, HintThatWasUsedLeastRecentlyGoesFirst ) {
    const ProcessLimit limit( RLIMIT_NOFILE, 20 );
    const int most = std::min( 20 / 2, CtEngineOptions::getMaxNbOpenFiles() );
    FailingStore server;
    server.blockSize = 1000;
    TestTiles tiles( server, 1 );
    const std::vector<MbBuffer> all = makeFilled( tiles, most );
    const auto opensToRead = [&]( std::size_t i ) {
        TestTiles::lock( tiles.make() );
        const int before = server.nbOpened;
        TestTiles::lock( all[i] );
        return server.nbOpened != before;
    };
    EXPECT_FALSE( opensToRead( 0 ) );
    const std::vector<MbBuffer> one = makeFilled( tiles, 1 );
    EXPECT_FALSE( opensToRead( 0 ) );
    EXPECT_TRUE( opensToRead( 1 ) );
    EXPECT_TRUE( opensToRead( 2 ) );
}

TEST( TiStoreTest, NoLockIsHeldAcrossATransfer ) {
    FailingStore server;
    TestTiles tiles( server, 3 );
    std::vector<MbBuffer> all = makeFilled( tiles, 5 );
    HoldPoint transfer( "transfer" );
    std::atomic<bool> isFirst = true;
    server.onTransfer = [&]( const CtPxTileId& ) {
        if( isFirst.exchange( false ) ) {
            transfer.pass();
        }
    };
    TestThread reader( [&] { EXPECT_TRUE( TestTiles::isFilledWith( all[0], 'a' ) ); } );
    transfer.waitUntilReached();
    const std::vector<MbBuffer> more = makeFilled( tiles, 3 );
    EXPECT_TRUE( TestTiles::isFilledWith( all[1], 'b' ) );
    transfer.release();
    reader.join();
}

TEST( TiStoreTest, TilesGoToFilesAlignedAsTheirTransfersNeedIt ) {
    const TempDirectory directory;
    const auto list = [&] {
        return std::distance( std::filesystem::directory_iterator( directory.path() ), {} );
    };
    for( const char* const unbuffered : { "0", "-1" } ) {
        const ScopedEnvironment setting( "QV_UNBUFFERED_IO", unbuffered );
        CtFileServer server( LiString( directory.path().string() ) );
        TiBufferFactory factory(
            MbStateMachine::getInstance( MbStateMachine::UNTRACED, MbStateMachine::STRICT )
                .getInitialState(),
            RCShdPtr<MbManager>(
                new MbHeapManager( "test", 300000, OPtr<MbUnloadStrategy>( new MbUnloadLRU ) ) ),
            RCShdPtr<TiStore>( new TiStore( server ) ) );
        std::vector<MbBuffer> all;
        for( const int size : { 100000, 4096, 0, 65537, 200000 } ) {
            all.push_back( factory.create( "tile", size ) );
        }
        // A protocol of one's own, and less than the transfers need.
        all.push_back( factory.create( "tile",
                                       OPtr<MbProtocol>( new TiProtocol( factory.getStore() ) ),
                                       8192, MbAlignment( 0, 0, 0 ) ) );
        for( MbBuffer& tile : all ) {
            EXPECT_GE( tile.getAlignment().getAlignmentMask() + 1, server.getAlignment() );
            TestTiles::fill( tile, static_cast<char>( tile.getSize() % 97 ) );
        }
        for( const MbBuffer& tile : all ) {
            EXPECT_TRUE(
                TestTiles::isFilledWith( tile, static_cast<char>( tile.getSize() % 97 ) ) );
        }
        EXPECT_GT( list(), 1 );
    }
    // The index of the cache.
    EXPECT_EQ( list(), 1 );
}

} // namespace
} // namespace Qv
