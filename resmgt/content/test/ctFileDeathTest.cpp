#include <resmgt/content/src/ctCacheWalk.h>
#include <resmgt/content/src/ctSessionFile.h>
#include <resmgt/content/test/ctTestCache.h>

#include <tests/support/childProcess.h>
#include <tests/support/deadline.h>
#include <tests/support/raisedBy.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <sys/wait.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <random>

/// What stays of a process that dies, at whatever moment.

namespace Qv {
namespace {

constexpr unsigned int SIZE = 5000;

/// What a child has got done, in memory that its parent sees too.
class Diary {
public:
    enum State : std::uint32_t { NONE, MADE, WRITTEN, GOING, GONE };
    struct Block {
        std::atomic<std::uint64_t> id;
        std::atomic<State> state;
    };

    Block& add( CtSerialId id ) {
        Block& block = _blocks[_nbBlocks];
        block.id = id;
        block.state = MADE;
        ++_nbBlocks;
        return block;
    }
    void setAll( State state ) {
        for( Block& block : _blocks ) {
            block.state = block.state == NONE ? NONE : state;
        }
    }
    std::map<std::uint64_t, State> get() const {
        std::map<std::uint64_t, State> blocks;
        for( std::uint32_t i = 0; i < _nbBlocks; ++i ) {
            EXPECT_TRUE( blocks.emplace( _blocks[i].id, _blocks[i].state ).second );
        }
        return blocks;
    }

private:
    std::array<Block, 16> _blocks{};
    std::atomic<std::uint32_t> _nbBlocks = 0;
};

Diary::Block& makeBlock( CtFileServer& server, Diary& diary ) {
    Diary::Block& block = diary.add( server.createTile( SIZE ).tile.getSerialId() );
    writeBlock( server, CtSerialId( block.id ), contentOf( CtSerialId( block.id ), SIZE ) );
    block.state = Diary::WRITTEN;
    return block;
}

/// All that a process does with a cache.
void live( const TestCache& cache, const char* settings, Diary& diary ) {
    const auto server = cache.start( settings, NO_WORKERS );
    makeBlock( *server, diary );
    Diary::Block& second = makeBlock( *server, diary );
    makeBlock( *server, diary );
    second.state = Diary::GOING;
    server->removeTile( CtSerialId( second.id ) );
    second.state = Diary::GONE;
    EXPECT_EQ( CtCacheDirectory( cache.path() ).prune( false ).nbBlocks, 2u );
    diary.setAll( Diary::GOING );
    server->clear();
    diary.setAll( Diary::GONE );
    makeBlock( *server, diary );
}

/// Whether a call leaves something else behind. To die before one that only looks is to die before
/// the next that doesn't.
bool changesSomething( const SystemCall& call ) {
    static const std::set<std::string> names{ "open",     "openat", "mkdirat",   "unlink",
                                              "unlinkat", "pwrite", "fallocate", "ftruncate",
                                              "fcntl",    "fsync",  "close" };
    return names.contains( call.name );
}

/// A child that dies just before the `last`-th call of the system that changes something. False if
/// it needed fewer.
bool liveUntil( long last, const TestCache& cache, const char* settings, Diary& diary ) {
    const pid_t child = ::fork();
    if( child == 0 ) {
        long nbChanges = 0;
        const CallHook hook( nullptr, [&]( const SystemCall& call ) {
            nbChanges += changesSomething( call ) ? 1 : 0;
            return nbChanges == last ? ::kill( ::getpid(), SIGKILL ) : withoutSync( call );
        } );
        const std::string failure = raisedBy( [&] { live( cache, settings, diary ); } );
        std::fputs( failure.c_str(), stderr );
        ::_exit( failure.empty() && !::testing::Test::HasFailure() ? 0 : 1 );
    }
    int status = 0;
    EXPECT_EQ( ::waitpid( child, &status, 0 ), child );
    EXPECT_TRUE( WIFSIGNALED( status ) || status == 0 );
    return WIFSIGNALED( status );
}

void expectWholeBlocks( CtFileServer& server,
                        const std::map<std::uint64_t, Diary::State>& blocks ) {
    for( const auto& [number, state] : blocks ) {
        const CtSerialId id( number );
        const CtStTileId tile( id, SIZE );
        if( state == Diary::MADE || state == Diary::WRITTEN ) {
            EXPECT_TRUE( server.isValid( tile, CtServer::WITH_SIZE ) ) << number;
        } else {
            EXPECT_TRUE( state == Diary::GOING || !server.isValid( tile, CtServer::ANY_SIZE ) );
        }
        if( state == Diary::WRITTEN ) {
            EXPECT_EQ( readBlock( server, id, SIZE ), contentOf( id, SIZE ) ) << number;
        }
    }
}

/// What the next process finds, and does.
void checkRemains( const TestCache& cache, const char* settings, const Diary& diary ) {
    const auto blocks = diary.get();
    EXPECT_TRUE( cache.visit()[CtCacheEntry::FOREIGN].empty() );
    const auto server = cache.start( settings, NO_WORKERS );
    expectWholeBlocks( *server, blocks );
    std::set<std::string> mine;
    for( int i = 0; i < 5; ++i ) {
        const CtSerialId id = server->createTile( SIZE ).tile.getSerialId();
        EXPECT_FALSE( blocks.contains( id ) ) << std::uint64_t( id );
        mine.insert( CtTileNames::makeName( id ) );
    }
    CtCacheDirectory( cache.path() ).prune( false );
    auto left = cache.visit();
    EXPECT_TRUE( left[CtCacheEntry::PROBE].empty() );
    std::set<std::string> names;
    for( const std::string& path : left[CtCacheEntry::BLOCK] ) {
        names.insert( fs::path( path ).filename() );
    }
    EXPECT_EQ( names, mine );
}

class CtFileDeathTest : public ::testing::TestWithParam<const char*> {};

TEST_P( CtFileDeathTest, EachMomentLeavesWholeWritesNewIdsAndNothingElse ) {
    const CallHook hook( nullptr, withoutSync );
    // All moments, or a part of them where each takes long.
    const long step = std::max( 100 / scaledCount( 100 ), 1L );
    const TempDirectory directory;
    bool isKilled = true;
    for( long last = 1; isKilled; last += step ) {
        // Of a session that died before.
        const TestCache cache( ".session_idx=3 0000000003-0000000001=old "
                               "1/0/0000000003-0000000257=old" );
        const SharedFile<Diary> diary( ( directory.path() / std::to_string( last ) ).string() );
        isKilled = liveUntil( last, cache, GetParam(), *diary );
        SCOPED_TRACE( "before call " + std::to_string( last ) );
        checkRemains( cache, GetParam(), *diary );
        EXPECT_TRUE( isKilled || last > 50 ) << "of so many calls";
        if( HasFailure() ) {
            break;
        }
    }
}

INSTANTIATE_TEST_SUITE_P( Layouts, CtFileDeathTest,
                          ::testing::Values( "QV_IO_LEVELS=0", "QV_IO_LEVELS=2" ),
                          []( const auto& layout ) {
                              return layout.index == 0 ? std::string( "Flat" ) : "Levels";
                          } );

TEST( CtFilePowerTest, TheIndexIsOnTheDiskBeforeABlockHasAName ) {
    const TestCache cache( ".session_idx=7" );
    std::vector<std::string> events;
    const auto nameOf = [&cache]( int handle ) {
        const fs::path path = fs::read_symlink( "/proc/self/fd/" + std::to_string( handle ) );
        return path.lexically_relative( fs::path( cache.path().toString() ) ).string();
    };
    {
        const CallHook hook( nullptr, [&]( const SystemCall& call ) {
            const std::string name = call.name;
            if( name == "fsync" || ( name == "pwrite" && call.size == CtSessionFile::LENGTH ) ) {
                events.push_back( name + " " + nameOf( call.handle ) );
            } else if( name.starts_with( "open" ) &&
                       fs::path( call.path ).filename().string().starts_with( "0000000008-" ) ) {
                events.push_back( "block" );
            }
            return 0;
        } );
        const auto server = cache.start( "", NO_WORKERS );
        server->createTile( 1 );
        server->clear();
        server->createTile( 1 );
    }
    using ::testing::ElementsAre;
    EXPECT_THAT( events, ElementsAre( "pwrite .session_idx", "fsync ..", "fsync .session_idx",
                                      "fsync .", "block", "pwrite .session_idx", "fsync ..",
                                      "fsync .session_idx", "fsync ." ) );
}

/// A volume in a file, mounted while this lives.
class Volume {
public:
    explicit Volume( const fs::path& image )
        : _place( image.string() + ".place" ) {
        fs::create_directory( _place );
        // Nothing gets to the disk by itself, as long as a test lasts.
        _isMounted = run( "mount -o loop,commit=300 '" + image.string() + "' '" + _place + "'" );
    }
    Volume( const Volume& ) = delete;
    Volume& operator=( const Volume& ) = delete;
    ~Volume() { EXPECT_TRUE( !_isMounted || run( "umount '" + _place + "'" ) ); }

    static bool make( const fs::path& image ) {
        std::ofstream( image ).close();
        fs::resize_file( image, 8U << 20U );
        return run( "mkfs.ext4 -q '" + image.string() + "'" );
    }
    bool isMounted() const { return _isMounted; }
    std::unique_ptr<CtFileServer> start() const {
        return std::make_unique<CtFileServer>( LiString( _place ), NO_WORKERS );
    }

private:
    static bool run( const std::string& command ) {
        return std::system(
                   ( "PATH=$PATH:/usr/sbin:/sbin; " + command + " 2>/dev/null" ).c_str() ) == 0;
    }

    const std::string _place;
    bool _isMounted = false;
};

/// What is on the disk at one moment, and the ids that had been given out by then.
struct PowerLoss {
    fs::path image;
    std::set<CtSerialId> given;
};

/// Makes blocks in several sessions, and looks at random moments what is on the disk.
std::vector<PowerLoss> losePower( const fs::path& image, const Volume& volume ) {
    std::mt19937_64 random( testSeed() );
    std::vector<PowerLoss> losses;
    std::set<CtSerialId> given;
    std::uint64_t nbCallsLeft = 1;
    const CallHook hook( nullptr, [&]( const SystemCall& ) {
        if( --nbCallsLeft == 0 ) {
            nbCallsLeft = 1 + random() % 50;
            losses.push_back( { image.string() + std::to_string( losses.size() ), given } );
            fs::copy_file( image, losses.back().image );
        }
        return 0;
    } );
    const auto nbLosses = static_cast<std::size_t>( scaledCount( 10 ) );
    while( losses.size() < nbLosses ) {
        const auto server = volume.start();
        for( int i = 0; i < 2; ++i ) {
            given.insert( server->createTile( SIZE ).tile.getSerialId() );
            server->clear();
        }
    }
    return losses;
}

TEST( CtFilePowerTest, NoIdComesAgainWheneverPowerIsLost ) {
    const TestFiles files;
    const fs::path image = files.at( "volume" );
    if( !Volume::make( image ) || !Volume( image ).isMounted() ) {
        GTEST_SKIP() << "This user may not mount volumes.";
    }
    std::vector<PowerLoss> losses;
    {
        const Volume volume( image );
        ASSERT_TRUE( volume.isMounted() );
        losses = losePower( image, volume );
    }
    for( const PowerLoss& loss : losses ) {
        const Volume volume( loss.image );
        ASSERT_TRUE( volume.isMounted() ) << loss.image;
        const CtSerialId id = volume.start()->createTile( SIZE ).tile.getSerialId();
        EXPECT_FALSE( loss.given.contains( id ) ) << id << " from " << loss.image;
    }
}

// ---- sessions seen from outside ----------------------------------------------------------------

TEST( CtCacheDirectoryTest, TakesASessionForDeadOnlyIfNobodyCanBeIt ) {
    using State = CtCacheDirectory::State;
    const auto stateOf = []( const TestCache& cache, std::uint32_t session ) {
        return CtCacheDirectory( cache.path() ).getState( session );
    };
    const TestCache cache( ".session_idx=41" );
    EXPECT_EQ( stateOf( cache, 41 ), State::DEAD );
    EXPECT_EQ( stateOf( cache, 42 ), State::UNKNOWN ) << "older than the index";
    {
        const auto server = cache.start();
        EXPECT_EQ( stateOf( cache, 42 ), State::LIVING );
        EXPECT_EQ( stateOf( cache, 41 ), State::DEAD );
        const auto same = cache.start();
        server->clear();
        EXPECT_EQ( stateOf( cache, 43 ), State::LIVING );
        EXPECT_EQ( stateOf( cache, 42 ), State::DEAD );
    }
    EXPECT_EQ( stateOf( cache, 43 ), State::DEAD );
    // Whatever keeps locks from being asked for.
    for( const char* const entries : { "file", ".session_idx/", ".session_idx>file file=99",
                                       ".session_idx|", ".session_idx=text" } ) {
        EXPECT_EQ( stateOf( TestCache( entries ), 1 ), State::UNKNOWN ) << entries;
    }
    const FailingCall noLocks( "fcntl", ENOLCK );
    EXPECT_EQ( stateOf( cache, 1 ), State::UNKNOWN );
    EXPECT_EQ( CtCacheDirectory( cache.path() ).prune( false ).nbBlocks, 0u );
}

TEST( CtCacheDirectoryTest, PrunesTheBlocksOfDeadSessionsAndProbesAlone ) {
    const std::string probe = "0123abcd-0123-4567-89ab-0123456789ab.cs_init";
    const TestCache cache( ".session_idx=18446744073709551614 0000000003-0000000001=12345 "
                           "5/6/0000000004-0000000001=123 7/foreign abc 1-2 .cs_init " +
                           probe );
    CtSessionFile living( cache.path(), CtSessionFile::Access::WRITE );
    ASSERT_EQ( living.mark( 9, 0 ), CtSessionFile::Locking::HAD );
    cache.write( "0000000009-0000000001", "alive" );
    const auto before = cache.list();
    CtCacheDirectory directory( cache.path() );
    for( const bool isDryRun : { true, false } ) {
        const CtCacheDirectory::Pruned pruned = directory.prune( isDryRun );
        EXPECT_EQ( pruned.nbBlocks, 2u );
        EXPECT_EQ( pruned.nbBytes, 8u );
        EXPECT_EQ( pruned.nbProbes, 2u );
        EXPECT_TRUE( !isDryRun || cache.list() == before );
    }
    EXPECT_EQ( cache.list(), ( std::set<std::string>{ ".session_idx", "0000000009-0000000001",
                                                      "5/6", "7/foreign", "abc", "1-2" } ) );
    EXPECT_EQ( directory.prune( false ).nbBlocks, 0u );
}

TEST( CtCacheDirectoryTest, ASessionThatBeginsAsADeadOneWaitsUntilItsBlocksHaveGone ) {
    const TestCache cache( ".session_idx=18446744073709551614" );
    CtSessionFile pruner( cache.path(), CtSessionFile::Access::WRITE );
    ASSERT_TRUE( pruner.claim( 4294967294 ) );
    const auto isDead = [&] {
        return CtCacheDirectory( cache.path() ).getState( 4294967294 ) ==
               CtCacheDirectory::State::DEAD;
    };
    TestThread starter( [&] {
        const auto server = cache.start();
        EXPECT_FALSE( isDead() );
    } );
    starter.waitUntilBlocked();
    pruner.release( 4294967294 );
    starter.join();
    EXPECT_TRUE( isDead() );
}

TEST( CtCacheDirectoryTest, StopsWhereASessionBeginsThatItTookForDead ) {
    const TestCache cache( ".session_idx=18446744073709551614 4294967294-0000000001 "
                           "4294967294-0000000002 4294967294-0000000003" );
    const CtCacheDirectory watcher( cache.path() );
    std::unique_ptr<TestThread> starter;
    std::unique_ptr<CtFileServer> server;
    const CallHook begins( "unlinkat", [&]( const SystemCall& ) {
        if( starter == nullptr ) {
            starter = std::make_unique<TestThread>( [&] { server = cache.start(); } );
            const auto isLiving = [&] {
                return watcher.getState( 4294967294 ) == CtCacheDirectory::State::LIVING;
            };
            waitUntil( isLiving, "the mark of the session" );
        }
        return 0;
    } );
    EXPECT_EQ( CtCacheDirectory( cache.path() ).prune( false ).nbBlocks, 1u );
    starter->join();
    EXPECT_EQ( server->getNbSerialIds(), 2u );
}

TEST( CtCacheDirectoryTest, ASessionThatWasTakenIsMarkedWhateverFailedToOpen ) {
    bool isReached = true;
    for( long number = 1; isReached; ++number ) {
        const TestCache cache( ".session_idx=7" );
        std::unique_ptr<CtFileServer> server;
        {
            const CollectedMessages messages;
            // An index that can't be opened for writing is tried for reading.
            const CallHook failing( "open", [number]( const SystemCall& call ) {
                return call.number == number || call.number == number + 1 ? EMFILE : 0;
            } );
            raisedBy( [&] { server = cache.start( "", NO_WORKERS ); } );
            isReached = failing.nbCalls() >= number;
        }
        if( server != nullptr && cache.read( ".session_idx" ) != "7" ) {
            EXPECT_EQ( CtCacheDirectory( cache.path() ).getState( server->getSession() ),
                       CtCacheDirectory::State::LIVING )
                << number;
        }
    }
}

} // namespace
} // namespace Qv
