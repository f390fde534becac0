#include <resmgt/content/test/ctTestCache.h>
#include <resmgt/content/test/ctTestHandle.h>
#include <tests/support/childProcess.h>
#include <tests/support/deadline.h>
#include <tests/support/raisedBy.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <array>
#include <atomic>
#include <random>

/// Several processes on one cache. Each is this program again, which runs the disabled test below.

namespace Qv {
namespace {

constexpr unsigned int SIZE = 6000;
constexpr unsigned int MOST_PROCESSES = 8;
constexpr std::uint32_t MOST_BLOCKS = 200000;
constexpr std::size_t MOST_OWN_BLOCKS = 40;

/// What all processes see, in a file that they map.
struct Shared {
    enum State : std::uint32_t { MADE, WRITTEN, GOING };
    struct Block {
        std::atomic<std::uint64_t> id;
        std::atomic<State> state;
    };

    std::atomic<bool> isClearing;
    std::atomic<unsigned int> nbReady;
    std::atomic<bool> mayGo;
    std::atomic<bool> mustStop;
    std::atomic<unsigned int> nbFailures;
    std::array<std::atomic<std::uint64_t>, MOST_PROCESSES> sessions;
    std::atomic<std::uint32_t> nbBlocks;
    std::array<Block, MOST_BLOCKS> blocks;
};

// ---- the children ------------------------------------------------------------------------------

/// One thread of a child: makes, writes, reads and removes blocks, its own and those of others.
class Traffic {
public:
    Traffic( CtFileServer& server, Shared& shared, const OsFilePath& directory, std::uint64_t seed )
        : _server( server )
        , _shared( shared )
        , _directory( directory )
        , _random( seed ) {}

    void run() {
        while( !_shared.mustStop && _shared.nbBlocks + 2 * MOST_PROCESSES < MOST_BLOCKS ) {
            const std::string failure = raisedBy( [this] { step( _random() % 100 ); } );
            // Whoever clears takes blocks away from all.
            if( !failure.empty() && !_shared.isClearing ) {
                report( failure );
            }
        }
    }

private:
    void step( std::uint64_t choice ) {
        if( _own.empty() || ( choice < 40 && _own.size() < MOST_OWN_BLOCKS ) ) {
            make( choice % 2 == 0 );
        } else if( choice < 60 ) {
            readOwn( *_own[_random() % _own.size()] );
        } else if( choice < 80 ) {
            readAny( _shared.blocks[_random() % _shared.nbBlocks] );
        } else if( choice < 98 ) {
            remove( _random() % _own.size() );
        } else if( _shared.isClearing && choice == 98 ) {
            _server.clear();
        } else {
            CtCacheDirectory( _directory ).prune( false );
        }
    }

    void make( bool isAsync ) {
        const CtSerialId id = _server.createTile( SIZE ).tile.getSerialId();
        Shared::Block& block = _shared.blocks[_shared.nbBlocks++];
        block.state = Shared::MADE;
        block.id = id;
        _own.push_back( &block );
        const std::string text = contentOf( id, SIZE );
        if( isAsync ) {
            const TestMemory memory( SIZE );
            std::copy( text.begin(), text.end(), memory.get() );
            TestHandle handle;
            _server.asyncWrite( pieceOf( id, 0, SIZE ), memory.get(), {}, &handle );
            check( handle.await() == "S" || _shared.isClearing, "a write failed" );
        } else {
            writeBlock( _server, id, text );
        }
        block.state = Shared::WRITTEN;
    }

    void readOwn( const Shared::Block& block ) {
        const CtSerialId id( block.id );
        const CtHintPtr hint = _server.read( pieceOf( id, 0, 0 ), nullptr, {} );
        check( readBlock( _server, id, SIZE, hint ) == contentOf( id, SIZE ),
               "an own block is another" );
    }

    /// It may be made or go meanwhile, or be one of a process that has died.
    void readAny( const Shared::Block& block ) {
        const CtSerialId id( block.id );
        const bool isWhole = block.state == Shared::WRITTEN;
        std::string text;
        if( !raisedBy( [&] { text = readBlock( _server, id, SIZE ); } ).empty() ) {
            return;
        }
        const std::string content = contentOf( id, SIZE );
        bool isRight = text.size() == content.size();
        for( std::size_t i = 0; i < text.size() && isRight; ++i ) {
            isRight = text[i] == content[i] || ( text[i] == '\0' && !isWhole );
        }
        check( isRight || _shared.isClearing, "a block is another" );
    }

    void remove( std::size_t index ) {
        Shared::Block& block = *_own[index];
        _own.erase( _own.begin() + static_cast<long>( index ) );
        block.state = Shared::GOING;
        _server.removeTile( CtSerialId( block.id ) );
    }

    void check( bool isRight, const char* what ) {
        if( !isRight ) {
            report( what );
        }
    }
    void report( const std::string& what ) {
        ++_shared.nbFailures;
        std::fprintf( stderr, "%d: %s\n", ::getpid(), what.c_str() );
    }

    CtFileServer& _server;
    Shared& _shared;
    const OsFilePath _directory;
    std::mt19937_64 _random;
    std::vector<Shared::Block*> _own;
};

/// Of the process `QV_TEST_CHILD`, on the cache `QV_TEST_CACHE`.
TEST( CtCacheChildTest, DISABLED_KeepsItsBlocksAmongOthers ) {
    const CollectedMessages messages;
    const std::string place = std::getenv( "QV_TEST_CACHE" );
    const unsigned long number = std::strtoul( std::getenv( "QV_TEST_CHILD" ), nullptr, 10 );
    const SharedFile<Shared> shared( place + ".shared" );
    ++shared->nbReady;
    waitUntil( [&] { return shared->mayGo.load(); }, "the signal to go" );
    CtFileServer server{ LiString( place ) };
    shared->sessions[number % MOST_PROCESSES] = server.getSession() + 1ULL;
    TestThreads( 2, [&]( std::uint64_t i ) {
        Traffic( server, *shared, place, testSeed() + number * 2 + i ).run();
    } ).join();
}

// ---- the parent --------------------------------------------------------------------------------

class Children {
public:
    /// On the cache that former ones have left, if any.
    explicit Children( const TestFiles& files )
        : _place( files.at( "cache" ).string() )
        , _shared( removed( _place + ".shared" ) ) {
        fs::create_directory( _place );
    }
    ~Children() {
        for( const auto& [number, child] : _children ) {
            ::kill( child, SIGKILL );
            ::waitpid( child, nullptr, 0 );
        }
    }

    Shared& shared() const { return *_shared; }
    const std::string& place() const { return _place; }

    void start( unsigned long number ) {
        const ScopedEnvironment cache( "QV_TEST_CACHE", _place.c_str() );
        const ScopedEnvironment child( "QV_TEST_CHILD", std::to_string( number ).c_str() );
        const ScopedEnvironment seed( "QV_TEST_SEED", std::to_string( testSeed() ).c_str() );
        _children[number] = startChild( "CtCacheChildTest.DISABLED_KeepsItsBlocksAmongOthers" );
    }
    void kill( unsigned long number ) {
        const pid_t id = _children.at( number );
        _children.erase( number );
        ::kill( id, SIGKILL );
        EXPECT_EQ( ::waitpid( id, nullptr, 0 ), id );
    }
    /// They all go at once.
    void go() {
        const auto nbChildren = static_cast<unsigned int>( _children.size() );
        waitUntil( [&] { return shared().nbReady >= nbChildren; }, "the children" );
        shared().mayGo = true;
    }
    void awaitBlocks( std::uint32_t number ) const {
        waitUntil( [&] { return shared().nbBlocks >= number; }, "so many blocks" );
    }
    void stop() {
        shared().mustStop = true;
        for( const auto& [number, child] : _children ) {
            SCOPED_TRACE( number );
            expectSuccess( child );
        }
        _children.clear();
        EXPECT_EQ( shared().nbFailures, 0u );
    }
    /// Also from those in `ids`, to which they are added.
    void expectDifferentIds( std::set<std::uint64_t>& ids ) const {
        EXPECT_LT( shared().nbBlocks + 2 * MOST_PROCESSES, MOST_BLOCKS )
            << "there was no more traffic";
        for( std::uint32_t i = 0; i < shared().nbBlocks; ++i ) {
            const std::uint64_t id = shared().blocks[i].id;
            EXPECT_TRUE( id == 0 || ids.insert( id ).second ) << id;
        }
    }
    /// What was written and is still there.
    void expectWholeBlocks() const {
        CtFileServer server{ LiString( _place ) };
        std::uint32_t nbThere = 0;
        for( std::uint32_t i = 0; i < shared().nbBlocks; ++i ) {
            const CtSerialId id( shared().blocks[i].id );
            if( shared().blocks[i].state == Shared::WRITTEN &&
                server.isValid( CtStTileId( id, SIZE ), CtServer::ANY_SIZE ) ) {
                ++nbThere;
                EXPECT_TRUE( readBlock( server, id, SIZE ) == contentOf( id, SIZE ) ) << id;
            }
        }
        EXPECT_GT( nbThere, 0u );
    }

private:
    static const std::string& removed( const std::string& path ) {
        fs::remove( path );
        return path;
    }

    const std::string _place;
    const SharedFile<Shared> _shared;
    std::map<unsigned long, pid_t> _children;
};

TEST( CtCacheProcessesTest, EightThatStartAtOnceAreEightSessionsAndLeaveEachOthersBlocksAlone ) {
    const TestFiles files;
    Children children( files );
    for( unsigned long i = 0; i < MOST_PROCESSES; ++i ) {
        children.start( i );
    }
    children.go();
    children.awaitBlocks( static_cast<std::uint32_t>( scaledCount( 1000 ) ) );
    children.stop();
    std::set<std::uint64_t> ids;
    children.expectDifferentIds( ids );
    std::set<std::uint64_t> sessions( children.shared().sessions.begin(),
                                      children.shared().sessions.end() );
    EXPECT_EQ( sessions, ( std::set<std::uint64_t>{ 1, 2, 3, 4, 5, 6, 7, 8 } ) );
    // All have ended: nothing lives.
    CtCacheDirectory( children.place() ).prune( false );
    EXPECT_EQ( fs::directory_iterator( children.place() )->path().filename(), ".session_idx" );
}

TEST( CtCacheProcessesTest, OneThatClearsTakesNothingButBlocksFromTheOther ) {
    const TestFiles files;
    Children children( files );
    children.shared().isClearing = true;
    children.start( 0 );
    children.start( 1 );
    children.go();
    children.awaitBlocks( static_cast<std::uint32_t>( scaledCount( 500 ) ) );
    children.stop();
    std::set<std::uint64_t> ids;
    children.expectDifferentIds( ids );
}

/// Three are at work at any time.
void dieAtRandom( Children& children, long nbDeaths, std::mt19937_64& random ) {
    unsigned long next = 0;
    std::vector<unsigned long> living;
    const auto start = [&] {
        living.push_back( next );
        children.start( next++ );
    };
    start();
    start();
    start();
    children.go();
    for( long i = 0; i < nbDeaths; ++i ) {
        const std::uint32_t begun = children.shared().nbBlocks;
        children.awaitBlocks( begun + 1 + static_cast<std::uint32_t>( random() % 20 ) );
        const auto victim = living.begin() + static_cast<long>( random() % living.size() );
        children.kill( *victim );
        living.erase( victim );
        start();
    }
    children.stop();
}

TEST( CtCacheProcessesTest, RandomDeathsLeaveWholeWritesAndNewIds ) {
    const TestFiles files;
    std::mt19937_64 random( testSeed() );
    std::set<std::uint64_t> ids;
    // As many as the blocks that can be noted suffice for, and then again.
    constexpr long MOST_DEATHS = 20;
    for( long left = scaledCount( 5 ); left > 0; left -= MOST_DEATHS ) {
        Children children( files );
        dieAtRandom( children, std::min( left, MOST_DEATHS ), random );
        children.expectDifferentIds( ids );
        children.expectWholeBlocks();
    }
    for( const auto& entry : fs::recursive_directory_iterator( files.at( "cache" ) ) ) {
        const std::string name = entry.path().filename();
        EXPECT_TRUE( CtTileNames::parseName( name ) || CtTileNames::isProbe( name ) ||
                     name == CtTileNames::INDEX )
            << name;
    }
}

} // namespace
} // namespace Qv
