#include <resmgt/content/ctFileServer.h>

#include <resmgt/content/ctServerFactory.h>
#include <resmgt/content/src/ctTileFolder.h>
#include <resmgt/content/test/ctTestCache.h>
#include <resmgt/content/test/ctTestHandle.h>
#include <resmgt/osal/osFile.h>
#include <tests/support/deadline.h>
#include <tests/support/processCounts.h>
#include <tests/support/raisedBy.h>

namespace Qv {
namespace {

const char* const LEVELS = "QV_IO_LEVELS=2 QV_IO_BITS=8";
const char* const BUFFERED = "QV_UNBUFFERED_IO=0 QV_IO_BLOCKSIZE=4096";
const char* const UNBUFFERED = "QV_UNBUFFERED_IO=1 QV_IO_BLOCKSIZE=4096 QV_IO_ALIGNMENT=4096";

std::string numbered( const std::string& text, unsigned int i ) {
    return text + std::to_string( i );
}

// ---- names -------------------------------------------------------------------------------------

TEST( CtTileNamesTest, KnowsItsOwnNamesFromAllOthers ) {
    const CtSerialId id( 0x0000000C00000159 );
    EXPECT_EQ( CtTileNames::makeName( id ), "0000000012-0000000345" );
    EXPECT_EQ( CtTileNames::parseName( "0000000012-0000000345" ), id );
    EXPECT_EQ( CtTileNames::parseName( "4294967295-4294967295" ), CtSerialId( UINT64_MAX ) );
    for( const char* const name :
         { "12-345", "0000000012-0000000345x", "0000000012-", "4294967296-0000000000",
           "0000000000-4294967296", "+000000012-0000000345", "00000000012-0000000345", "", "-" } ) {
        EXPECT_FALSE( CtTileNames::parseName( name ) ) << name;
    }
    for( const char* const name : { "0", "1", "89", "255", "4095" } ) {
        EXPECT_TRUE( CtTileNames::isLevel( name ) ) << name;
    }
    for( const char* const name : { "4096", "01", "", "-1", "1x", "99999999999999999999" } ) {
        EXPECT_FALSE( CtTileNames::isLevel( name ) ) << name;
    }
    const std::string uuid = "0123abcd-0123-4567-89ab-0123456789ab";
    EXPECT_TRUE( CtTileNames::isProbe( ".cs_init" ) && CtTileNames::isProbe( uuid + ".cs_init" ) );
    EXPECT_FALSE( CtTileNames::isProbe( uuid ) || CtTileNames::isProbe( "x.cs_init" ) ||
                  CtTileNames::isProbe( uuid + "0.cs_init" ) );
}

TEST( CtTileFolderTest, SpreadsBlocksByTheLowBitsOfTheirIds ) {
    const struct {
        unsigned int nbLevels;
        unsigned int nbBits;
        const char* path;
    } cases[] = {
        { 0, 8, "/c/0000000012-0000000345" },
        { 1, 8, "/c/89/0000000012-0000000345" },
        { 2, 8, "/c/89/1/0000000012-0000000345" },
        { 3, 0, "/c/0/0/0/0000000012-0000000345" },
        { 4, 12, "/c/345/0/3072/0/0000000012-0000000345" },
    };
    for( const auto& c : cases ) {
        EXPECT_EQ( CtTileFolder( "/c", c.nbLevels, c.nbBits )
                       .getPath( CtSerialId( 0x0000000C00000159 ) )
                       .toString(),
                   c.path );
    }
}

// ---- start -------------------------------------------------------------------------------------

TEST( CtFileServerTest, RefusesSettingsThatCantBe ) {
    const struct {
        const char* settings;
        const char* assertion;
    } cases[] = {
        { "QV_IO_LEVELS=5", "_nbLevels <= 4" },
        { "QV_IO_LEVELS=-1", "0 <= _nbLevels" },
        { "QV_IO_BITS=13", "_nbBits <= 12" },
        { "QV_IO_BITS=-1", "0 <= _nbBits" },
        { "QV_IO_BLOCKSIZE=0", "_blockSize > 0" },
        { "QV_IO_ALIGNMENT=0", "std::has_single_bit( _alignment )" },
        { "QV_IO_ALIGNMENT=48", "std::has_single_bit( _alignment )" },
    };
    for( const auto& c : cases ) {
        const TestCache cache;
        const int nbDescriptors = countDescriptors();
        const int nbThreads = countThreads();
        EXPECT_THAT( raisedBy( [&] { cache.start( c.settings ); } ), HasSubstr( c.assertion ) );
        EXPECT_EQ( countDescriptors(), nbDescriptors ) << c.settings;
        waitUntil( [&] { return countThreads() == nbThreads; }, "the end of the workers" );
    }
}

TEST( CtFileServerTest, TakesTheVolumesAdviceUnlessItIsOverridden ) {
    const TestCache cache;
    const OsFileTypes::UnbufferedInfo volume = OsFile( cache.path() ).getUnbufferedInfo();
    const auto advised = cache.start();
    EXPECT_EQ( advised->isUnbuffered(), volume.supported );
    EXPECT_EQ( advised->getAlignment(), volume.sectorSize );
    EXPECT_EQ( advised->getBlockSize(), volume.clusterSize );
    const auto told = cache.start( "QV_UNBUFFERED_IO=0 QV_IO_BLOCKSIZE=1 QV_IO_ALIGNMENT=16" );
    EXPECT_FALSE( told->isUnbuffered() );
    EXPECT_EQ( told->getAlignment(), 16u );
    EXPECT_EQ( told->getBlockSize(), 1u );
    EXPECT_EQ( cache.list(), std::set<std::string>{ ".session_idx" } );
}

TEST( CtFileServerFactoryTest, TakesAbsolutePathsOfDirectoriesAndOfNothing ) {
    const TestCache files( "there/ file dangling>nowhere link>there" );
    const auto create = [&]( const std::string& configuration ) {
        return OPtr<CtServer>( CtServerFactory::createServer( LiString( configuration ) ) );
    };
    for( const char* const name : { "there", "new", "link" } ) {
        EXPECT_EQ( create( files.at( name ).string() )->getNbSerialIds(), 0u ) << name;
        EXPECT_TRUE( files.has( std::string( name ) + "/.session_idx" ) );
    }
    struct stat facts {};
    ASSERT_EQ( ::stat( files.at( "new" ).c_str(), &facts ), 0 );
    EXPECT_EQ( facts.st_mode & 0777u, 0750u );
    const struct {
        std::string configuration;
        std::string reason;
    } refused[] = {
        { "relative", "Unknown server type (relative)." },
        { "scheme://host/path", "Unknown server type (scheme://host/path)." },
        { files.at( "file" ), "Unknown server type (" + files.at( "file" ).string() + ")." },
        { files.at( "none/new" ), files.at( "none/new" ).string() },
        { files.at( "dangling" ), files.at( "dangling" ).string() },
    };
    for( const auto& c : refused ) {
        EXPECT_THAT( raisedBy( [&] { create( c.configuration ); } ), HasSubstr( c.reason ) );
    }
}

TEST( CtFileServerFactoryTest, MakesItsDirectoryBesideOthersWhoUseItAlready ) {
    const TestCache files;
    // A process that prunes takes the probes; the first is the factory's.
    const CallHook pruner( nullptr, [&]( const SystemCall& call ) {
        if( std::string( call.name ).starts_with( "unlink" ) ) {
            CtCacheDirectory( files.path( "new" ) ).prune( false );
        }
        return 0;
    } );
    const OPtr<CtServer> server(
        CtServerFactory::createServer( LiString( files.at( "new" ).string() ) ) );
    EXPECT_TRUE( files.has( "new/.session_idx" ) );
    // It can't be tried, but another process has begun to work in it.
    const CallHook other( nullptr, [&]( const SystemCall& call ) {
        const bool isProbe =
            call.path != nullptr && std::string( call.path ).ends_with( "/.cs_init" );
        if( isProbe ) {
            files.write( "shared/theirs" );
        }
        return isProbe ? EIO : 0;
    } );
    EXPECT_THAT( raisedBy( [&] {
                     const OPtr<CtServer> none( CtServerFactory::createServer(
                         LiString( files.at( "shared" ).string() ) ) );
                 } ),
                 HasSubstr( "shared/.cs_init" ) );
    EXPECT_TRUE( files.has( "shared/theirs" ) );
}

// ---- blocks ------------------------------------------------------------------------------------

/// Everything that must hold in a flat directory and with levels.
class CtFileServerLayoutTest : public ::testing::TestWithParam<const char*> {
protected:
    static CtTileFolder folderOf( const TestCache& cache ) {
        const bool hasLevels = std::string( GetParam() ).find( "LEVELS=2" ) != std::string::npos;
        return CtTileFolder( cache.path(), hasLevels ? 2 : 0, 8 );
    }
};

TEST_P( CtFileServerLayoutTest, NeverTakesANameThatExists ) {
    const struct {
        const char* name;
        void ( *make )( const fs::path& path );
    } occupants[] = {
        { "file", []( const fs::path& path ) { std::ofstream( path ) << "theirs"; } },
        { "directory", []( const fs::path& path ) { fs::create_directory( path ); } },
        { "pipe", []( const fs::path& path ) { ::mkfifo( path.c_str(), 0666 ); } },
        { "link", []( const fs::path& path ) { fs::create_symlink( "../target", path ); } },
        { "dangling", []( const fs::path& path ) { fs::create_symlink( "none", path ); } },
    };
    const TestCache cache( "target=theirs" );
    const auto server = cache.start( GetParam() );
    std::uint64_t counter = 0;
    for( const auto& occupant : occupants ) {
        const CtSerialId taken = CtTileNames::makeId( server->getSession(), counter + 1 );
        const fs::path path = folderOf( cache ).getPath( taken ).toString();
        fs::create_directories( path.parent_path() );
        occupant.make( path );
        const fs::file_type type = fs::symlink_status( path ).type();
        const CtStTileId made = server->createTile( 10 ).tile;
        counter += 2;
        EXPECT_EQ( made.getSerialId(), CtTileNames::makeId( server->getSession(), counter ) );
        EXPECT_EQ( fs::symlink_status( path ).type(), type ) << occupant.name;
        // All but the file is no block, and stays what it is.
        const bool isBlock = occupant.name == std::string( "file" );
        EXPECT_EQ( server->isValid( CtStTileId( taken, 10 ), CtServer::ANY_SIZE ), isBlock );
        if( !isBlock ) {
            EXPECT_THAT(
                raisedBy<OsFileEx::ExInvalidPath>( [&] { readBlock( *server, taken, 4 ); } ),
                HasSubstr( "CtFileServer::makeReadHint" ) )
                << occupant.name;
            EXPECT_NE( raisedBy( [&] { writeBlock( *server, taken, "mine" ); } ), "" );
            EXPECT_NE( raisedBy( [&] { server->removeTile( taken ); } ), "" ) << occupant.name;
            EXPECT_EQ( fs::symlink_status( path ).type(), type ) << occupant.name;
        }
    }
    EXPECT_EQ( cache.read( "target" ), "theirs" );
    EXPECT_FALSE( cache.has( "none" ) );
}

TEST_P( CtFileServerLayoutTest, ReservesWholeUnitsAndComparesWithThem ) {
    const TestCache cache;
    const auto server = cache.start( std::string( GetParam() ) + " " + BUFFERED );
    for( const unsigned int size : { 0u, 1u, 4096u, 4097u, 100000u } ) {
        const auto made = server->createTile( size );
        const CtSerialId id = made.tile.getSerialId();
        EXPECT_TRUE( made.hint.isNull() );
        const fs::path path = folderOf( cache ).getPath( id ).toString();
        const unsigned int rounded = ( size + 4095 ) / 4096 * 4096;
        struct stat facts {};
        ASSERT_EQ( ::lstat( path.c_str(), &facts ), 0 );
        EXPECT_EQ( facts.st_size, rounded );
        EXPECT_GE( facts.st_blocks * 512, rounded );
        const auto isValid = [&]( unsigned int asked, int mode ) {
            return server->isValid( CtStTileId( id, asked ), mode );
        };
        EXPECT_TRUE( isValid( size, 0 ) && isValid( rounded, 0 ) && isValid( size + 8192, 1 ) );
        EXPECT_FALSE( isValid( size + 8192, 0 ) || isValid( size + 8192, 2 ) );
        EXPECT_EQ( readBlock( *server, id, size ), std::string( size, '\0' ) );
        server->removeTile( id );
        EXPECT_FALSE( isValid( size, 1 ) );
        EXPECT_THAT( raisedBy( [&] { server->removeTile( id ); } ), HasSubstr( path.string() ) );
    }
    // 4 GiB rounded up is beyond 32 bits.
    EXPECT_FALSE( server->isValid( CtStTileId( CtSerialId( 1 ), UINT32_MAX ), 0 ) );
}

TEST_P( CtFileServerLayoutTest, HintsAreOpenFilesOfOneBlockOfOneServer ) {
    const TestCache cache;
    const auto server = cache.start( GetParam() );
    const CtSerialId a = server->createTile( 4096 ).tile.getSerialId();
    const CtSerialId b = server->createTile( 4096 ).tile.getSerialId();
    const int nbDescriptors = countDescriptors();
    const std::string as( 4096, 'a' );
    const std::string bs( 4096, 'b' );
    CtHintPtr writing = writeBlock( *server, a, as );
    EXPECT_EQ( countDescriptors(), nbDescriptors + 1 );
    EXPECT_EQ( server->getCounters().nbOpenFiles, 1u );
    // A hint for writing reads too; one for reading isn't taken for writing.
    const TestMemory memory( 4096 );
    EXPECT_EQ( server->read( pieceOf( a, 0, 4096 ), memory.get(), writing ), writing );
    CtHintPtr reading = server->read( pieceOf( a, 0, 4096 ), memory.get(), {} );
    EXPECT_EQ( server->read( pieceOf( a, 0, 4096 ), memory.get(), reading ), reading );
    EXPECT_FALSE( writeBlock( *server, a, as, reading ) == reading );
    // Another block's hint, and another server's, lead nowhere.
    EXPECT_FALSE( writeBlock( *server, b, bs, writing ) == writing );
    EXPECT_EQ( readBlock( *server, a, 4096, reading ), as );
    EXPECT_EQ( readBlock( *server, b, 4096, reading ), bs );
    const TestCache elsewhere;
    const auto other = elsewhere.start( GetParam() );
    EXPECT_THROW( readBlock( *other, a, 4096, reading ), OsFileEx::ExInvalidPath );
    // A block that is removed stays readable through its hint; a later write makes it anew.
    server->removeTile( a );
    EXPECT_EQ( readBlock( *server, a, 4096, reading ), as );
    EXPECT_THROW( readBlock( *server, a, 4096 ), OsFileEx::ExInvalidPath );
    const CtHintPtr anew = writeBlock( *server, a, bs, writing );
    EXPECT_FALSE( anew == writing );
    EXPECT_EQ( readBlock( *server, a, 4096 ), bs );
    writing = CtHintPtr();
    reading = CtHintPtr();
    EXPECT_EQ( server->getCounters().nbOpenFiles, 1u );
    EXPECT_EQ( countDescriptors(), nbDescriptors + 1 + 1 ) << "of the hint, and the other's index";
}

TEST_P( CtFileServerLayoutTest, FailsForBlocksThatOthersHaveCut ) {
    const TestCache cache;
    const auto server = cache.start( std::string( GetParam() ) + " " + BUFFERED );
    const CtSerialId id = server->createTile( 8192 ).tile.getSerialId();
    const CtHintPtr hint = writeBlock( *server, id, std::string( 8192, 'x' ) );
    fs::resize_file( folderOf( cache ).getPath( id ).toString(), 4096 );
    EXPECT_FALSE( server->isValid( CtStTileId( id, 8192 ), CtServer::WITH_SIZE ) );
    for( const CtHintPtr& with : { hint, CtHintPtr() } ) {
        EXPECT_THROW( readBlock( *server, id, 8192, with ), ExSysErrorANSI );
        EXPECT_EQ( readBlock( *server, id, 4096, with ), std::string( 4096, 'x' ) );
    }
}

INSTANTIATE_TEST_SUITE_P( Layouts, CtFileServerLayoutTest,
                          ::testing::Values( "QV_IO_LEVELS=0", LEVELS ), []( const auto& layout ) {
                              return layout.index == 0 ? std::string( "Flat" ) : "Levels";
                          } );

TEST( CtFileServerTest, FollowsNoLinkInThePlaceOfALevel ) {
    const TestCache cache( "outside/1/" );
    const auto server = cache.start( LEVELS );
    fs::create_directory_symlink( "outside", cache.at( "1" ) );
    EXPECT_NE( raisedBy( [&] { server->createTile( 1 ); } ), "" );
    const CtSerialId id = CtTileNames::makeId( server->getSession(), 0x101 );
    cache.write( "outside/1/" + CtTileNames::makeName( id ), "theirs" );
    EXPECT_FALSE( server->isValid( CtStTileId( id, 6 ), CtServer::ANY_SIZE ) );
    EXPECT_THROW( readBlock( *server, id, 6 ), OsFileEx::ExInvalidPath );
    EXPECT_NE( raisedBy( [&] { writeBlock( *server, id, "mine" ); } ), "" );
    EXPECT_NE( raisedBy( [&] { server->removeTile( id ); } ), "" );
    server->clear();
    EXPECT_EQ( cache.read( "outside/1/" + CtTileNames::makeName( id ) ), "theirs" );
    EXPECT_TRUE( cache.has( "1" ) );
}

// ---- listing and clearing ----------------------------------------------------------------------

TEST( CtFileServerTest, ListsFilesThatAreTwoNumbersAndSkipsTheRest ) {
    const TestCache cache( "abc 12- 12-34x -3 3- 0000000007-0000000008/ 5-6 .cs_init 89/ "
                           "0000000012-0000000345 0000000001-0000000001>abc "
                           "0000000002-0000000002|" );
    const auto server = cache.start();
    const OPtr<Set<CtSerialId>> ids( server->getSerialIds() );
    EXPECT_EQ( std::set<CtSerialId>( ids->begin(), ids->end() ),
               ( std::set{ CtTileNames::makeId( 5, 6 ), CtTileNames::makeId( 12, 345 ) } ) );
    EXPECT_EQ( server->getNbSerialIds(), 2u );
    const std::pair<const char*, const char*> cases[] = {
        { "4294967296-1", "highId <= UINT32_MAX" },
        { "99999999999999999999999-1", "highId <= UINT32_MAX" },
        { "1-4294967296", "lowId <= UINT32_MAX" },
        { "12-345", "result->insert( CtSerialId( ( highId << 32 ) | lowId ) ).second" },
    };
    for( const auto& [name, assertion] : cases ) {
        cache.write( name );
        EXPECT_THAT( raisedBy( [&] { server->getNbSerialIds(); } ), HasSubstr( assertion ) );
        fs::remove( cache.at( name ) );
    }
    EXPECT_THAT( raisedBy( [&] { cache.start( LEVELS )->getNbSerialIds(); } ),
                 HasSubstr( "_nbLevels == 0" ) );
}

TEST( CtFileServerTest, ClearsWhatAnyCacheMakesAndLeavesTheRest ) {
    const std::set<std::string> foreign{ "abc",
                                         "12-34",
                                         "5/foreign",
                                         "7/2/0000000001-0000000001x",
                                         "01",
                                         "pipe",
                                         "0000000003-0000000003",
                                         "sub",
                                         ".session_idx" };
    const TestCache cache( "abc 12-34 5/foreign 7/2/0000000001-0000000001x 01/ pipe| sub/ "
                           "0000000003-0000000003>abc .session_idx=41 .cs_init "
                           "0123abcd-0123-4567-89ab-0123456789ab.cs_init 0000000001-0000000001 "
                           "5/0000000001-0000000002 7/2/0000000001-0000000003 "
                           "1/2/3/4/0000000001-0000000004 4095/ 9/9/" );
    for( const char* const settings : { "", LEVELS } ) {
        const auto server = cache.start( settings );
        const std::uint32_t session = server->getSession();
        const CtSerialId id = server->createTile( 1 ).tile.getSerialId();
        server->clear();
        EXPECT_EQ( cache.list(), foreign ) << settings;
        EXPECT_EQ( server->getSession(), session + 1 );
        EXPECT_FALSE( server->createTile( 1 ).tile.getSerialId() == id );
        server->clear();
    }
    EXPECT_EQ( cache.read( ".session_idx" ), padded( "47" ) );
}

TEST( CtFileServerTest, ClearsToItsEndHoweverQuicklyOthersMakeBlocks ) {
    const TestCache cache;
    const auto server = cache.start();
    constexpr unsigned int MOST = 500;
    unsigned int nbMade = 0;
    // Another process makes a block in each pass.
    const CallHook producer( "fdopendir", [&]( const SystemCall& ) {
        if( nbMade < MOST ) {
            cache.write( CtTileNames::makeName( CtTileNames::makeId( 99, ++nbMade ) ) );
        }
        return 0;
    } );
    server->clear();
    EXPECT_LT( nbMade, MOST );
}

// ---- transfers ---------------------------------------------------------------------------------

TEST( CtFileServerTest, MovesExactlyThePieceBufferedAtAnyOffset ) {
    const TestCache cache;
    const auto server = cache.start( BUFFERED );
    const auto [tile, none] = server->createTile( 10000 );
    std::string expected( 10000, '\0' );
    CtHintPtr hint;
    for( const auto& [offset, size] : std::vector<std::pair<unsigned int, unsigned int>>{
             { 0, 10 }, { 9, 1 }, { 4095, 2 }, { 5000, 5000 }, { 17, 0 }, { 9999, 1 } } ) {
        const std::string text( size, static_cast<char>( 'a' + offset % 26 ) );
        hint = writeBlock( *server, tile.getSerialId(), text, hint, offset );
        expected.replace( offset, size, text );
        EXPECT_EQ( readBlock( *server, tile.getSerialId(), 10000, hint ), expected );
        EXPECT_EQ( readBlock( *server, tile.getSerialId(), size, hint, offset ), text );
    }
    EXPECT_EQ( fs::file_size( cache.at( CtTileNames::makeName( tile.getSerialId() ) ) ), 12288u );
    EXPECT_EQ( server->getCounters().nbBytesWritten, 10u + 1 + 2 + 5000 + 1 );
}

TEST( CtFileServerTest, RefusesAnUnbufferedPieceThatIsOffBeforeAByteMoves ) {
    const TestCache cache;
    if( !OsFile( cache.path() ).getUnbufferedInfo().supported ) {
        GTEST_SKIP() << "The volume has no unbuffered transfers.";
    }
    const auto server = cache.start( UNBUFFERED );
    const CtSerialId id = server->createTile( 10000 ).tile.getSerialId();
    const CtHintPtr hint = writeBlock( *server, id, std::string( 10000, 'o' ) );
    const struct {
        unsigned int offset;
        unsigned int size;
        std::size_t shift;
        const char* reason;
    } cases[] = {
        { 0, 10000, 0, "" },
        { 8192, 1808, 0, "" },
        { 4096, 4096, 0, "" },
        { 0, 12288, 0, "" },
        { 8192, 1, 0, "" },
        { 100, 0, 1, "" },
        { 512, 4096, 0, "Seek to offset 512 failed for file" },
        { 0, 4096, 512, "its memory isn't aligned" },
        { 0, 4000, 0, "it ends inside of a block" },
        { 4096, 4095, 0, "it ends inside of a block" },
    };
    for( const auto& c : cases ) {
        SCOPED_TRACE( numbered( numbered( "offset ", c.offset ) + ", size ", c.size ) );
        std::string before = readBlock( *server, id, 12288, hint );
        const TestMemory memory( c.size, 'n', c.shift );
        const CtPxTileId piece = pieceOf( id, c.offset, c.size );
        EXPECT_THAT( raisedBy( [&] { server->write( piece, memory.get(), hint ); } ),
                     HasSubstr( c.reason ) );
        const std::string after = readBlock( *server, id, 12288, hint );
        if( c.reason[0] == '\0' ) {
            before.replace( c.offset, c.size, std::string( c.size, 'n' ) );
            if( c.size % 4096 != 0 ) {
                before.replace( c.offset + c.size, std::string::npos,
                                std::string( 12288 - c.offset - c.size, '\0' ) );
            }
        }
        EXPECT_TRUE( after == before );
        const TestMemory back( c.size, '?', c.shift );
        EXPECT_THAT( raisedBy( [&] { server->read( piece, back.get(), hint ); } ),
                     HasSubstr( c.reason ) );
        const bool isRead = c.reason[0] == '\0';
        EXPECT_TRUE( back.text() ==
                     ( isRead ? after.substr( c.offset, c.size ) : std::string( c.size, '?' ) ) );
    }
    const TestMemory memory( 4096 );
    const std::string off =
        "Seek to offset 512 failed for file " + cache.at( CtTileNames::makeName( id ) ).string();
    EXPECT_EQ( raisedBy<CtEx::ExSeekFailed>(
                   [&] { server->write( pieceOf( id, 512, 4096 ), memory.get(), hint ); } ),
               off + " while writing." );
    EXPECT_EQ( raisedBy<CtEx::ExSeekFailed>(
                   [&] { server->read( pieceOf( id, 512, 4096 ), memory.get(), hint ); } ),
               off + " while reading." );
}

TEST( CtFileServerTest, KeepsToTheVolumesSectorsWhateverTheSettingsSay ) {
    const TestCache cache;
    const OsFileTypes::UnbufferedInfo volume = OsFile( cache.path() ).getUnbufferedInfo();
    if( !volume.supported ) {
        GTEST_SKIP() << "The volume has no unbuffered transfers.";
    }
    const auto sector = static_cast<unsigned int>( volume.sectorSize );
    const std::string text( 3 * sector + 10, 'n' );
    const auto start = [&]( unsigned int blockSize ) {
        return cache.start( "QV_UNBUFFERED_IO=1 QV_IO_ALIGNMENT=1 " +
                            numbered( "QV_IO_BLOCKSIZE=", blockSize ) );
    };
    // The last block's detour is aligned all the same.
    auto server = start( sector );
    CtSerialId id = server->createTile( 4 * sector ).tile.getSerialId();
    writeBlock( *server, id, text );
    EXPECT_EQ( readBlock( *server, id, 3 * sector + 10 ), text );
    // Two blocks could be moved, the half sector behind them couldn't.
    server = start( sector * 3 / 2 );
    id = server->createTile( 3 * sector + 10 ).tile.getSerialId();
    EXPECT_THAT( raisedBy( [&] { writeBlock( *server, id, text ); } ),
                 HasSubstr( "the block size isn't a multiple of the volume's" ) );
    EXPECT_EQ( cache.read( CtTileNames::makeName( id ) ).find( 'n' ), std::string::npos );
}

TEST( CtFileServerTest, SaysWhichBlockIsntWhatWasWritten ) {
    const TestCache cache;
    const auto server = cache.start( "QV_IO_VERIFY=1 QV_UNBUFFERED_IO=0" );
    const CtSerialId id = server->createTile( 8192 ).tile.getSerialId();
    const std::string name = CtTileNames::makeName( id );
    writeBlock( *server, id, std::string( 4096, 'a' ) );
    writeBlock( *server, id, std::string( 4096, 'b' ), {}, 4096 );
    EXPECT_EQ( readBlock( *server, id, 8192 ),
               std::string( 4096, 'a' ) + std::string( 4096, 'b' ) );
    std::fstream( cache.at( name ) ).seekp( 5000 ).put( 'c' );
    EXPECT_EQ( readBlock( *server, id, 4096 ), std::string( 4096, 'a' ) );
    EXPECT_EQ( readBlock( *server, id, 4000, {}, 4096 ).substr( 904, 1 ), "c" );
    for( const auto& [offset, size] : { std::pair( 4096u, 4096u ), std::pair( 0u, 8192u ) } ) {
        EXPECT_THAT(
            raisedBy<CtEx::ExContentDiffers>(
                [&, o = offset, s = size] { readBlock( *server, id, s, {}, o ); } ),
            HasSubstr( name + " isn't what was written: " + std::to_string( size ) + " bytes" ) );
    }
    // A write that overlaps replaces what was known.
    writeBlock( *server, id, std::string( 100, 'd' ), {}, 4990 );
    EXPECT_EQ( readBlock( *server, id, 8192 ).substr( 4990, 100 ), std::string( 100, 'd' ) );
    server->removeTile( id );
    writeBlock( *server, id, std::string( 10, 'e' ), {}, 1 );
    cache.write( name, "f" );
    EXPECT_THROW( readBlock( *server, id, 8192 ), ExSysErrorANSI );
}

TEST( CtFileServerTest, ReservesNoMoreThanItsLimit ) {
    const TestCache cache;
    const auto server = cache.start( std::string( BUFFERED ) + " QV_IO_MAX_BYTES=12288" );
    const CtSerialId a = server->createTile( 4096 ).tile.getSerialId();
    server->createTile( 1 );
    const auto isRefused = [&]( unsigned int size ) {
        return raisedBy<CtEx::ExNotEnoughSpace>( [&] { server->createTile( size ); } ) ==
               "Not enough space on mediastore:\nThe limit of QV_IO_MAX_BYTES is reached.";
    };
    EXPECT_TRUE( isRefused( 4097 ) );
    EXPECT_EQ( server->getNbSerialIds(), 2u );
    EXPECT_FALSE( isRefused( 0 ) );
    EXPECT_FALSE( isRefused( 4096 ) );
    EXPECT_TRUE( isRefused( 1 ) );
    cache.write( "0000000099-0000000001" );
    server->removeTile( CtTileNames::makeId( 99, 1 ) );
    EXPECT_TRUE( isRefused( 1 ) ) << "another session's block made room";
    server->removeTile( a );
    EXPECT_FALSE( isRefused( 1 ) );
    server->clear();
    EXPECT_FALSE( isRefused( 12288 ) );
    // What others have removed makes room as soon as that is noticed.
    const OPtr<Set<CtSerialId>> left( server->getSerialIds() );
    fs::remove( cache.at( CtTileNames::makeName( *left->begin() ) ) );
    EXPECT_TRUE( isRefused( 1 ) );
    EXPECT_NE( raisedBy( [&] { server->removeTile( *left->begin() ); } ), "" );
    EXPECT_FALSE( isRefused( 4096 ) );
    // The limit is the process's, what goes the directory's.
    const TestCache elsewhere;
    const auto other = elsewhere.start( BUFFERED );
    other->createTile( 8192 );
    EXPECT_TRUE( isRefused( 1 ) );
    server->clear();
    EXPECT_TRUE( isRefused( 4097 ) );
    EXPECT_FALSE( isRefused( 4096 ) );
}

} // namespace
} // namespace Qv
