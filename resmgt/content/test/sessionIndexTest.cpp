#include <resmgt/content/src/sessionIndex.h>

#include <resmgt/content/ctFileServer.h>
#include <resmgt/content/test/ctTestCache.h>
#include <tests/support/raisedBy.h>
#include <tests/support/testThread.h>

namespace Qv {
namespace {

TEST( SessionIndexTest, TakesTheNumberBehindTheIndexes ) {
    const std::string blanks( 40, ' ' );
    const std::tuple<std::string, std::uint32_t, std::string> cases[] = {
        { "", 0, padded( "0" ) },
        { "0", 1, padded( "1" ) },
        { " \n7\t", 8, padded( "8" ) },
        { "4294967293", 4294967294, padded( "4294967294" ) },
        { "4294967294", 0, padded( "0" ) },
        { "4294967295", 0, padded( "0" ) },
        { "18446744073709551613", 0, padded( "0" ) },
        { "18446744073709551614", 4294967294, "18446744073709551614" },
        { "18446744073709551615", 0, padded( "0" ) },
        { "18446744073709551616", 0, padded( "0" ) },
        { "-3", 0, padded( "0" ) },
        { "+3", 0, padded( "0" ) },
        { "3 4", 0, padded( "0" ) },
        { "3x", 0, padded( "0" ) },
        { "text", 0, padded( "0" ) },
        // The whole length is kept: a crash in the middle leaves no other number.
        { blanks + "9", 10, "10" + std::string( 38, ' ' ) + "\n" },
        { std::string( 5000, ' ' ) + "9", 0, padded( "0" ) },
    };
    for( const auto& [index, session, after] : cases ) {
        const TestCache cache;
        const CollectedMessages messages;
        cache.write( ".session_idx", index );
        const auto server = cache.start();
        EXPECT_EQ( server->getSession(), session ) << index;
        EXPECT_EQ( cache.read( ".session_idx" ), after ) << index;
        EXPECT_FALSE( messages.hasWarning( cache.path().toString() ) ) << index;
        const CtSerialId id = server->createTile( 1 ).tile.getSerialId();
        EXPECT_EQ( id, CtTileNames::makeId( session, 1 ) );
    }
}

TEST( SessionIndexTest, GoesOnWithAMessageWhereTheIndexCantBeUsed ) {
    for( const char* const entries :
         { ".session_idx/", ".session_idx>elsewhere elsewhere=41", ".session_idx>none",
           ".session_idx|", ".session_idx/full" } ) {
        const TestCache cache( entries );
        const auto before = cache.list();
        const CollectedMessages messages;
        const auto server = cache.start();
        EXPECT_EQ( server->getSession(), 0u ) << entries;
        EXPECT_TRUE( messages.hasWarning( cache.path().toString() ) ) << entries;
        EXPECT_EQ( cache.list(), before );
        EXPECT_EQ( cache.read( "elsewhere" ), cache.has( "elsewhere" ) ? "41" : "" );
        // What the number can't keep apart the names do.
        cache.write( "0000000000-0000000001", "theirs" );
        EXPECT_EQ( server->createTile( 1 ).tile.getSerialId(), CtTileNames::makeId( 0, 2 ) );
        EXPECT_EQ( cache.read( "0000000000-0000000001" ), "theirs" );
    }
}

TEST( SessionIndexTest, LeavesAnIndexAloneThatItCantReadAndCountsOnFromItsOwn ) {
    const TestCache cache( ".session_idx=7" );
    const CollectedMessages messages;
    {
        const FailingCall failing( "pread", EIO );
        EXPECT_EQ( cache.start( "", NO_WORKERS )->getSession(), 0u );
    }
    EXPECT_TRUE( messages.hasWarning( cache.path().toString() ) );
    EXPECT_EQ( cache.read( ".session_idx" ), "7" );
    // While it runs it knows better than an index that is lost, or says less.
    const auto server = cache.start( "", NO_WORKERS );
    std::uint32_t session = 8;
    for( const char* const index : { "text", "", "3", "20" } ) {
        cache.write( ".session_idx", index );
        session = index[0] == '2' ? 21 : session + 1;
        server->clear();
        EXPECT_EQ( server->getSession(), session ) << index;
        EXPECT_EQ( CtSessionFile::parse( cache.read( ".session_idx" ) ), session ) << index;
    }
    fs::remove( cache.at( ".session_idx" ) );
    server->clear();
    EXPECT_EQ( server->getSession(), session + 1 );
    EXPECT_EQ( CtCacheDirectory( cache.path() ).getState( session + 1 ),
               CtCacheDirectory::State::LIVING );
}

TEST( SessionIndexTest, RefusesABlockBehindTheLastNumber ) {
    EXPECT_EQ( SessionIndex::getNextId( 0x5FFFFFFFE ), CtSerialId( 0x5FFFFFFFF ) );
    EXPECT_THROW( SessionIndex::getNextId( 0x5FFFFFFFF ), CtEx::ExNotEnoughSpace );
}

TEST( CtFileServerTest, SaysWhyADirectoryCantBeUsedAndReadsOnInOneThatIsClosed ) {
    const TestCache cache;
    const auto server = cache.start( "", NO_WORKERS );
    const CtSerialId id = server->createTile( 4 ).tile.getSerialId();
    const CtHintPtr hint = writeBlock( *server, id, "kept" );
    cache.setMode( "", 0555 );
    {
        const WithoutPowers user;
        EXPECT_THAT( raisedBy( [&] { cache.start( "", NO_WORKERS ); } ),
                     ::testing::AllOf( HasSubstr( cache.path().toString() ),
                                       HasSubstr( "Permission denied" ) ) );
        EXPECT_THAT( raisedBy<CtEx::ExNotEnoughSpace>( [&] { server->createTile( 4 ); } ),
                     HasSubstr( "Permission denied" ) );
        EXPECT_THAT( raisedBy( [&] { server->removeTile( id ); } ),
                     HasSubstr( "Permission denied" ) );
        EXPECT_EQ( readBlock( *server, id, 4 ), "kept" );
    }
    cache.setMode( "", 0000 );
    {
        const WithoutPowers user;
        EXPECT_NE( raisedBy( [&] { server->getNbSerialIds(); } ), "" );
        EXPECT_NE(
            raisedBy( [&] { static_cast<void>( server->isValid( CtStTileId( id, 4 ), 0 ) ); } ),
            "" );
    }
    cache.setMode( "", 0755 );
    fs::rename( cache.at( "" ), cache.path().toString() + ".moved" );
    EXPECT_EQ( readBlock( *server, id, 4, hint ), "kept" );
    EXPECT_THROW( readBlock( *server, id, 4 ), OsFileEx::ExInvalidPath );
    EXPECT_THROW( server->createTile( 4 ), CtEx::ExNotEnoughSpace );
    fs::rename( cache.path().toString() + ".moved", cache.at( "" ) );
}

TEST( SessionIndexTest, WaitsForTheIndexButNotForEver ) {
    const TestCache cache( ".session_idx=5" );
    CtSessionFile other( cache.path(), CtSessionFile::Access::WRITE );
    ASSERT_EQ( other.lock( 0 ), CtSessionFile::Locking::HAD );
    {
        const CollectedMessages messages;
        EXPECT_EQ( cache.start()->getSession(), 6u );
        EXPECT_TRUE( messages.hasWarning( cache.path().toString() ) );
        EXPECT_EQ( cache.read( ".session_idx" ), "5" );
    }
    const CollectedMessages messages;
    TestThread starter( [&] { EXPECT_EQ( cache.start()->getSession(), 10u ); } );
    starter.waitUntilBlocked();
    ASSERT_TRUE( other.write( 9 ) );
    other.unlock();
    starter.join();
    EXPECT_FALSE( messages.hasWarning( cache.path().toString() ) );
}

TEST( SessionIndexTest, GivesNoIdTwiceToThreadsAndServers ) {
    const TestCache cache( "other/" );
    const auto first = cache.start();
    CtFileServer second( LiString( cache.at( "other" ).string() ) );
    EXPECT_EQ( first->getSession(), second.getSession() );
    constexpr unsigned int NB_THREADS = 4;
    constexpr unsigned int NB_BLOCKS = 100;
    std::vector<std::vector<CtSerialId>> ids( NB_THREADS );
    TestThreads( NB_THREADS, [&]( unsigned int i ) {
        CtServer& server = i % 2 == 0 ? *first : second;
        for( unsigned int block = 0; block < NB_BLOCKS; ++block ) {
            ids[i].push_back( server.createTile( 1 ).tile.getSerialId() );
        }
    } ).join();
    std::set<CtSerialId> all;
    for( const auto& some : ids ) {
        all.insert( some.begin(), some.end() );
    }
    EXPECT_EQ( all.size(), NB_THREADS * NB_BLOCKS );
    const std::uint32_t session = first->getSession();
    first->clear();
    EXPECT_EQ( first->getSession(), session + 1 );
    EXPECT_EQ( second.createTile( 1 ).tile.getSerialId(), CtTileNames::makeId( session + 1, 1 ) );
}

} // namespace
} // namespace Qv
