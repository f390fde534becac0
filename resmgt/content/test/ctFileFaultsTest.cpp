#include <resmgt/content/test/ctTestCache.h>
#include <resmgt/content/test/ctTestHandle.h>
#include <tests/support/deadline.h>
#include <tests/support/failingNew.h>
#include <tests/support/processCounts.h>
#include <tests/support/raisedBy.h>
#include <tests/support/testThread.h>

/// What the media cache makes of calls of the system that fail, once and from then on, on the
/// caller's thread and on workers, and of memory that runs out.

namespace Qv {
namespace {

constexpr unsigned int SIZE = 10000;

struct Fault {
    int error;
    const char* settings;
};
const Fault FAULTS[] = {
    { EIO, "QV_IO_LEVELS=0" },
    { EMFILE, "QV_IO_LEVELS=2 QV_UNBUFFERED_IO=0" },
    { ENOSPC, "QV_IO_LEVELS=1 QV_IO_MAX_BYTES=40960 QV_IO_BLOCKSIZE=4096" },
};

/// A server and its blocks, `kept` of which stays as it is.
struct Scene {
    explicit Scene( const Fault& fault )
        : server( cache.start( fault.settings, NO_WORKERS ) )
        , kept( server->createTile( SIZE ).tile.getSerialId() )
        , content( contentOf( kept, SIZE ) ) {
        writeBlock( *server, kept, content );
    }
    std::size_t nbBlocks() const { return cache.visit()[CtCacheEntry::BLOCK].size(); }

    const TestCache cache;
    const std::unique_ptr<CtFileServer> server;
    const CtSerialId kept;
    const std::string content;
};

class CtFileFaultsTest : public ::testing::TestWithParam<Fault> {
protected:
    CtFileFaultsTest()
        : _withoutSync( nullptr, withoutSync ) {}

    /// The server does its work as if nothing had been.
    static void expectAtWork( Scene& scene ) {
        const CtSerialId id = scene.server->createTile( SIZE ).tile.getSerialId();
        writeBlock( *scene.server, id, contentOf( id, SIZE ) );
        EXPECT_EQ( readBlock( *scene.server, id, SIZE ), contentOf( id, SIZE ) );
        scene.server->removeTile( id );
        EXPECT_EQ( readBlock( *scene.server, scene.kept, SIZE ), scene.content );
        EXPECT_EQ( scene.server->getCounters().nbOpenFiles, 0u );
    }
    static std::string describe( const FailedRun& run ) {
        return std::string( run.call == nullptr ? "none" : run.call ) + " as call " +
               std::to_string( run.number ) +
               ( run.times == FailingCall::ONCE ? ", once" : ", for good" );
    }

private:
    const CallHook _withoutSync;
};

TEST_P( CtFileFaultsTest, AStartThatFailsLeavesNothing ) {
    const TestCache cache( ".session_idx=7" );
    std::string failure;
    int nbThreads = countThreads();
    std::uint32_t session = 7;
    bool hasStarted = false;
    forEachFailingCall(
        GetParam().error,
        [&] {
            hasStarted = false;
            failure = raisedBy( [&] {
                const auto server = cache.start( GetParam().settings );
                hasStarted = true;
                session = std::max( session, server->getSession() );
            } );
        },
        [&]( const FailedRun& run ) {
            SCOPED_TRACE( describe( run ) );
            EXPECT_EQ( hasStarted, failure.empty() ) << failure;
            waitUntil( [&] { return countThreads() <= nbThreads; }, "the end of the workers" );
            auto left = cache.visit();
            // What removes the probe may be what fails.
            const bool mayLeaveProbe = run.call != nullptr;
            EXPECT_LE( left[CtCacheEntry::PROBE].size(), mayLeaveProbe ? 1u : 0u );
            EXPECT_EQ( left[CtCacheEntry::BLOCK].size() + left[CtCacheEntry::FOREIGN].size(), 0u );
            CtCacheDirectory( cache.path() ).prune( false );
            EXPECT_TRUE( run.call != nullptr || failure.empty() ) << failure;
        } );
    // A number that was taken is never given again, whatever failed since.
    EXPECT_EQ( cache.start()->getSession() > session, true );
}

TEST_P( CtFileFaultsTest, ABlockIsMadeWholeOrNotAtAll ) {
    Scene scene( GetParam() );
    CtServer::NewTile made;
    std::string failure;
    forEachFailingCall(
        GetParam().error,
        [&] { failure = raisedBy( [&] { made = scene.server->createTile( SIZE ); } ); },
        [&]( const FailedRun& run ) {
            SCOPED_TRACE( describe( run ) );
            const bool removalFailed = run.times == FailingCall::FOR_GOOD && run.call != nullptr;
            if( failure.empty() ) {
                EXPECT_TRUE( scene.server->isValid( made.tile, CtServer::WITH_SIZE ) );
                scene.server->removeTile( made.tile.getSerialId() );
            }
            EXPECT_LE( scene.nbBlocks(), removalFailed ? 2u : 1u ) << failure;
            auto left = scene.cache.visit();
            for( const std::string& path : left[CtCacheEntry::BLOCK] ) {
                if( !path.ends_with( CtTileNames::makeName( scene.kept ) ) ) {
                    fs::remove( scene.cache.at( path ) );
                }
            }
            expectAtWork( scene );
        } );
}

TEST_P( CtFileFaultsTest, ATransferMovesAllOrRaises ) {
    Scene scene( GetParam() );
    std::string read;
    std::string failure;
    forEachFailingCall(
        GetParam().error,
        [&] {
            failure = raisedBy( [&] {
                writeBlock( *scene.server, scene.kept, scene.content );
                read = readBlock( *scene.server, scene.kept, SIZE );
            } );
        },
        [&]( const FailedRun& run ) {
            SCOPED_TRACE( describe( run ) );
            EXPECT_TRUE( !failure.empty() || read == scene.content );
            EXPECT_TRUE( run.call != nullptr || failure.empty() ) << failure;
            EXPECT_EQ( scene.nbBlocks(), 1u );
            expectAtWork( scene );
        } );
}

TEST_P( CtFileFaultsTest, AnswersAreRightOrAreNone ) {
    Scene scene( GetParam() );
    const CtStTileId kept( scene.kept, SIZE );
    const CtStTileId none( CtTileNames::makeId( 77, 77 ), SIZE );
    std::vector<bool> answers;
    forEachFailingCall(
        GetParam().error,
        [&] {
            answers = { true, false };
            raisedBy( [&] { answers[0] = scene.server->isValid( kept, CtServer::WITH_SIZE ); } );
            raisedBy( [&] { answers[1] = scene.server->isValid( none, CtServer::ANY_SIZE ); } );
            raisedBy( [&] { EXPECT_EQ( scene.server->getNbSerialIds(), 1u ); } );
            const std::uint32_t session = CtTileNames::getSession( scene.kept );
            raisedBy( [&] {
                CtCacheDirectory directory( scene.cache.path() );
                EXPECT_NE( directory.getState( session ), CtCacheDirectory::State::DEAD );
                EXPECT_EQ( directory.prune( false ).nbBlocks, 0u );
            } );
        },
        [&]( const FailedRun& run ) {
            SCOPED_TRACE( describe( run ) );
            EXPECT_EQ( answers, ( std::vector{ true, false } ) );
            EXPECT_EQ( readBlock( *scene.server, scene.kept, SIZE ), scene.content );
        } );
}

TEST_P( CtFileFaultsTest, ABlockGoesOrStays ) {
    Scene scene( GetParam() );
    CtSerialId id;
    std::string failure;
    const auto prepare = [&] {
        id = scene.server->createTile( SIZE ).tile.getSerialId();
        writeBlock( *scene.server, id, contentOf( id, SIZE ) );
    };
    prepare();
    forEachFailingCall(
        GetParam().error, [&] { failure = raisedBy( [&] { scene.server->removeTile( id ); } ); },
        [&]( const FailedRun& run ) {
            SCOPED_TRACE( describe( run ) );
            const bool isThere = scene.server->isValid( CtStTileId( id, SIZE ), 0 );
            EXPECT_EQ( isThere, !failure.empty() ) << failure;
            if( isThere ) {
                EXPECT_EQ( readBlock( *scene.server, id, SIZE ), contentOf( id, SIZE ) );
                scene.server->removeTile( id );
            }
            prepare();
        } );
    std::uint32_t session = scene.server->getSession();
    forEachFailingCall(
        GetParam().error, [&] { failure = raisedBy( [&] { scene.server->clear(); } ); },
        [&]( const FailedRun& run ) {
            SCOPED_TRACE( describe( run ) );
            EXPECT_TRUE( !failure.empty() || scene.nbBlocks() == 0 );
            EXPECT_TRUE( run.call != nullptr || failure.empty() );
            EXPECT_GE( scene.server->getSession(), session );
            scene.server->clear();
            EXPECT_EQ( scene.nbBlocks(), 0u );
            EXPECT_GT( scene.server->getSession(), session );
            session = scene.server->getSession();
            prepare();
        } );
}

TEST_P( CtFileFaultsTest, AWorkerReportsEachFailureOnce ) {
    Scene scene( GetParam() );
    const auto server = scene.cache.start( GetParam().settings );
    const TestMemory memory( SIZE );
    std::copy( scene.content.begin(), scene.content.end(), memory.get() );
    const CtPxTileId piece = pieceOf( scene.kept, 0, SIZE );
    CtHintPtr hint = server->write( piece, memory.get(), {} );
    for( int number = 1; number <= 3; ++number ) {
        for( const auto times : { FailingCall::ONCE, FailingCall::FOR_GOOD } ) {
            for( const char* const call : { "pwrite", "pread" } ) {
                TestHandle completions;
                const FailingCall failing( call, GetParam().error, times, number,
                                           CallHook::PROCESS );
                for( std::size_t i = 0; i < 3; ++i ) {
                    server->asyncWrite( piece, memory.get(), hint, &completions );
                    EXPECT_EQ( completions.await( 2 * i + 1 ).size(), 2 * i + 1 );
                    server->asyncRead( piece, memory.get(), hint, &completions );
                    EXPECT_EQ( completions.await( 2 * i + 2 ).size(), 2 * i + 2 );
                }
                // A transfer makes the call at least once.
                const auto nbFailed = std::ranges::count( completions.getCalls(), 'F' );
                EXPECT_GE( nbFailed, 1 ) << call << number;
                EXPECT_TRUE( nbFailed == 1 || times == FailingCall::FOR_GOOD );
                std::copy( scene.content.begin(), scene.content.end(), memory.get() );
            }
        }
    }
    EXPECT_EQ( server->getCounters().nbOpenFiles, 1u );
}

TEST_P( CtFileFaultsTest, MemoryThatRunsOutLeavesNothing ) {
    Scene scene( GetParam() );
    const TestMemory memory( SIZE );
    const CtPxTileId piece = pieceOf( scene.kept, 0, SIZE );
    CtServer::NewTile made;
    const std::function<void()> operations[] = {
        [&] { made = scene.server->createTile( SIZE ); },
        [&] { scene.server->read( piece, memory.get(), {} ); },
        [&] { scene.server->write( piece, memory.get(), {} ); },
        [&] { static_cast<void>( scene.server->isValid( CtStTileId( scene.kept ), 0 ) ); },
        [&] { static_cast<void>( scene.nbBlocks() ); },
    };
    for( const auto& operation : operations ) {
        const int nbDescriptors = countDescriptors();
        forEachFailingNew<std::exception>( operation, [&]( bool hasFailed ) {
            EXPECT_EQ( countDescriptors(), nbDescriptors );
            EXPECT_TRUE( !hasFailed || scene.nbBlocks() == 1 );
        } );
        if( &operation == &operations[0] ) {
            scene.server->removeTile( made.tile.getSerialId() );
        }
        writeBlock( *scene.server, scene.kept, scene.content );
        expectAtWork( scene );
    }
}

INSTANTIATE_TEST_SUITE_P( Faults, CtFileFaultsTest, ::testing::ValuesIn( FAULTS ),
                          []( const auto& fault ) {
                              return fault.index == 0   ? std::string( "IoError" )
                                     : fault.index == 1 ? std::string( "NoDescriptors" )
                                                        : std::string( "NoSpace" );
                          } );

TEST( CtFileServerTest, SaysWhatIsWrongWithItsDirectory ) {
    const TestCache cache;
    const std::string place = cache.path().toString();
    const auto isNew = []( const SystemCall& call ) {
        return call.path != nullptr && std::string( call.name ).starts_with( "open" ) &&
               !fs::exists( call.path );
    };
    const auto server = cache.start( "QV_UNBUFFERED_IO=0", NO_WORKERS );
    const CtSerialId id = server->createTile( SIZE ).tile.getSerialId();
    writeBlock( *server, id, contentOf( id, SIZE ) );
    for( const int error : { EROFS, EACCES } ) {
        const CallHook hook( nullptr,
                             [&]( const SystemCall& call ) { return isNew( call ) ? error : 0; } );
        for( const std::string& reason :
             { raisedBy( [&] { cache.start(); } ),
               raisedBy<CtEx::ExNotEnoughSpace>( [&] { server->createTile( SIZE ); } ) } ) {
            EXPECT_THAT( reason, HasSubstr( place ) );
            EXPECT_THAT( reason, HasSubstr( std::strerror( error ) ) );
        }
        // What is there goes on.
        writeBlock( *server, id, contentOf( id, SIZE ) );
        EXPECT_EQ( readBlock( *server, id, SIZE ), contentOf( id, SIZE ) );
    }
    {
        const FailingCall noReservation( "fallocate", EOPNOTSUPP );
        const CtStTileId made = server->createTile( SIZE ).tile;
        EXPECT_TRUE( server->isValid( made, CtServer::WITH_SIZE ) );
        server->removeTile( made.getSerialId() );
    }
    const auto unbuffered = cache.start( "QV_UNBUFFERED_IO=1", NO_WORKERS );
    const FailingCall noUnbufferedTransfers( "fcntl", EINVAL );
    EXPECT_NE( raisedBy<CtEx::ExNotEnoughSpace>( [&] { unbuffered->createTile( SIZE ); } ), "" );
    EXPECT_EQ( server->getNbSerialIds(), 1u );
}

TEST( CtFileServerTest, GoesOnWithBlocksAndDirectoriesThatOthersTakeAway ) {
    const TestFiles files( "cache/" );
    CtFileServer server( LiString( files.at( "cache" ).string() ), NO_WORKERS );
    const CtSerialId id = server.createTile( SIZE ).tile.getSerialId();
    const std::string own = contentOf( id, SIZE );
    const std::string other = contentOf( CtSerialId( 1 ), SIZE );
    const CtHintPtr hint = writeBlock( server, id, own );
    files.write( "other", other );
    fs::rename( files.at( "other" ), files.at( "cache/" + CtTileNames::makeName( id ) ) );
    EXPECT_TRUE( readBlock( server, id, SIZE ) == other &&
                 readBlock( server, id, SIZE, hint ) == own );
    fs::remove_all( files.at( "cache" ) );
    EXPECT_TRUE( readBlock( server, id, SIZE, hint ) == own );
    EXPECT_FALSE( server.isValid( CtStTileId( id, SIZE ), CtServer::ANY_SIZE ) );
    EXPECT_THROW( readBlock( server, id, SIZE ), OsFileEx::ExInvalidPath );
    EXPECT_THROW( server.createTile( SIZE ), CtEx::ExNotEnoughSpace );
    for( const std::function<void()>& operation :
         { std::function<void()>( [&] { server.removeTile( id ); } ),
           { [&] { server.clear(); } },
           { [&] { static_cast<void>( server.getNbSerialIds() ); } } } ) {
        EXPECT_THAT( raisedBy( operation ), HasSubstr( files.at( "cache" ).string() ) );
    }
    EXPECT_FALSE( files.has( "cache" ) );
}

TEST( CtFileServerTest, ShortCountsAreGoneOnWith ) {
    const TestCache cache;
    const auto server = cache.start( "QV_UNBUFFERED_IO=0", NO_WORKERS );
    const CtSerialId id = server->createTile( SIZE ).tile.getSerialId();
    const CallHook shortly( nullptr, []( SystemCall& call ) {
        const std::string name = call.name;
        call.size = name == "pread" || name == "pwrite" ? std::min<std::size_t>( call.size, 77 )
                                                        : call.size;
        return 0;
    } );
    writeBlock( *server, id, contentOf( id, SIZE ) );
    EXPECT_EQ( readBlock( *server, id, SIZE ), contentOf( id, SIZE ) );
    const CallHook notAtAll( "pwrite", []( SystemCall& call ) {
        call.size = 0;
        return 0;
    } );
    EXPECT_THROW( writeBlock( *server, id, contentOf( id, SIZE ) ), ExSysErrorANSI );
}

} // namespace
} // namespace Qv
