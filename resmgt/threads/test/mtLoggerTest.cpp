#include <base/text/wideStringUtil.h>
#include <resmgt/logger/lgLog.h>
#include <resmgt/logger/lgQueue.h>
#include <resmgt/logger/lgRegistry.h>
#include <resmgt/logger/qvLog.h>
#include <resmgt/threads/mtExternalThread.h>
#include <resmgt/threads/mtLogger.h>
#include <resmgt/threads/src/mtQueueObserver.h>
#include <resmgt/threads/test/testProtocol.h>
#include <tests/support/childProcess.h>
#include <tests/support/deadline.h>
#include <tests/support/scopedEnvironment.h>
#include <tests/support/tempDirectory.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <numeric>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Qv {

namespace {

constexpr double FLUSH_SECONDS = 30.0;
constexpr int NB_LINES = 500;

std::size_t getNbQueues() {
    return LgLog::getRegistry()->getQueueList().size();
}

void logLines( int nb ) {
    for( int i = 0; i < nb; ++i ) {
        QV_LOG( Threads, Warning, "line ", i );
    }
}

std::uint64_t getNbTold() {
    const LgLog::Counters counters = LgLog::getCounters();
    return counters.written + counters.lost;
}

/// The numbers of the lines of `logLines` in a text, in order.
std::vector<int> findLines( const std::string& text ) {
    static const std::string MARK = "line ";
    std::vector<int> numbers;
    for( std::size_t i = text.find( MARK ); i != std::string::npos; i = text.find( MARK, i + 1 ) ) {
        numbers.push_back( std::atoi( text.c_str() + i + MARK.size() ) );
    }
    return numbers;
}

/// Reads from now on what the level's pipe has, for ever.
void drainLevelFile() {
    const std::string path = WideStringUtil::narrowMB( LgLog::getLevelFile( LgTypes::Warning ) );
    std::thread( [path] {
        const int pipe = ::open( path.c_str(), O_RDONLY | O_CLOEXEC );
        std::array<char, 4096> text;
        while( ::read( pipe, text.data(), text.size() ) > 0 ) {}
    } ).detach();
}

std::vector<int> firstNumbers( int nb ) {
    std::vector<int> numbers( static_cast<std::size_t>( nb ) );
    std::iota( numbers.begin(), numbers.end(), 0 );
    return numbers;
}

} // namespace

TEST( MtLoggerTest, EachStatementOfThreadsThatComeAndGoIsWrittenOrCounted ) {
    ASSERT_TRUE( LgLog::isLoggerActive() );
    ASSERT_TRUE( LgLog::flush( FLUSH_SECONDS ) );
    const std::size_t nbQueues = getNbQueues();
    const std::uint64_t nbBefore = getNbTold();
    const long nbRounds = scaledCount( 50 );
    for( long round = 0; round < nbRounds; ++round ) {
        OPtr<MtThread> known = makeThread( []( MtThread& ) { logLines( NB_LINES ); }, "known" );
        known->start();
        TestThread foreign( [] { logLines( NB_LINES ); } );
        TestThread adopted( [] {
            const MtExternalThreadGuard guard( "adopted" );
            logLines( NB_LINES );
        } );
        known->join();
    }
    const auto deadline = deadlineFromNow();
    const std::uint64_t nbExpected = static_cast<std::uint64_t>( nbRounds ) * 3 * NB_LINES;
    while( getNbQueues() != nbQueues || getNbTold() - nbBefore < nbExpected ) {
        ASSERT_LT( std::chrono::steady_clock::now(), deadline )
            << getNbQueues() << " queues, " << getNbTold() - nbBefore << " of " << nbExpected;
        LgLog::flush( FLUSH_SECONDS );
    }
    EXPECT_EQ( getNbTold() - nbBefore, nbExpected );
}

TEST( MtLoggerTest, AWaitForRoomEndsWithTheRoomAndWithTheReader ) {
    // Otherwise the reader lets all that wait go on.
    LgLog::setBlockingTrace( true );
    LgQueue queue( 1, "waiter", { 64, 8 } );
    auto* const observer = new MtQueueObserver;
    ASSERT_EQ(
        OPtr<LgQueue::Observer>( queue.changeObserver( OPtr<LgQueue::Observer>( observer ) ) ),
        nullptr );
    const auto fill = [&] {
        while( queue.reserveEntry( LgTypes::Tracing ) ) {
            queue.getStream() << 'x';
            queue.addEntry();
        }
    };
    fill();
    {
        TestThread owner( [&] { queue.waitForSpace( 1 ); } );
        owner.waitUntilBlocked();
        while( !owner.isDone() && !queue.isEmpty() ) {
            queue.removeEntry();
        }
    }
    fill();
    {
        TestThread owner( [&] { queue.waitForSpace( 1 ); } );
        owner.waitUntilBlocked();
        MtQueueObserver::wakeAll();
    }
    MtQueueObserver::allowWaits( false );
    queue.waitForSpace( 1 );
    MtQueueObserver::allowWaits( true );
    while( !queue.isEmpty() ) {
        queue.removeEntry();
    }
    LgLog::setBlockingTrace( false );
}

TEST( MtLoggerTest, AFlushReturnsWithTheStatementsOfItsThreadHandled ) {
    // Another flush keeps the reader from sleeping.
    std::atomic<bool> isOver{ false };
    TestThread other( [&] {
        while( !isOver ) {
            LgLog::flush( FLUSH_SECONDS );
        }
    } );
    ASSERT_TRUE( LgLog::flush( FLUSH_SECONDS ) );
    const std::uint64_t nbBefore = getNbTold();
    for( std::uint64_t i = 1; i <= static_cast<std::uint64_t>( scaledCount( 500 ) ); ++i ) {
        logLines( 1 );
        EXPECT_TRUE( LgLog::flush( FLUSH_SECONDS ) );
        ASSERT_EQ( getNbTold() - nbBefore, i );
    }
    isOver = true;
}

class MtLoggerEndTest : public ::testing::Test {
protected:
    MtLoggerEndTest()
        : _file( _directory.path() / "warnings.txt" )
        , _warnings( "QV_LOG_WARNING", _file.string().c_str() ) {
        GTEST_FLAG_SET( death_test_style, "threadsafe" );
    }

    TempDirectory _directory;
    const std::filesystem::path _file;
    const ScopedEnvironment _warnings;
};

TEST_F( MtLoggerEndTest, NothingIsLostHoweverTheProcessEndsItselfNorAfterTheCrashSequence ) {
    const std::pair<const char*, void ( * )()> ends[] = {
        { "terminate",
          [] {
              logLines( NB_LINES );
              std::terminate();
          } },
        { "crash sequence",
          [] {
              logLines( NB_LINES );
              MtLogger::haltAndFlushOnCrash();
              MtLogger::haltAndFlushOnCrash();
              ::_exit( LgLog::isLoggerActive() ? 2 : 1 );
          } },
        { "statements go on",
          [] {
              MtLogger::haltAndFlushOnCrash();
              logLines( NB_LINES );
              ::_exit( 1 );
          } },
    };
    for( const auto& [name, end] : ends ) {
        SCOPED_TRACE( name );
        std::filesystem::remove( _file );
        EXPECT_EXIT( end(), ::testing::ExitedWithCode( 1 ), "" );
        EXPECT_EQ( findLines( readFile( _file ) ), firstNumbers( NB_LINES ) );
    }
}

/// The child ends the forking thread's part of the library, while another thread of its parent has
/// the logger's lock and waits for a reader that an output holds up. Once that goes on, so does the
/// logger.
TEST_F( MtLoggerEndTest, AReaderThatDoesNotEndIsLeftAndAForkedChildWaitsForNothing ) {
    ASSERT_EQ( ::mkfifo( _file.c_str(), 0600 ), 0 );
    const int pipe = ::open( _file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC );
    ASSERT_GE( pipe, 0 );
    const ScopedEnvironment tail( "QV_LOG_TAIL", "1" );
    const auto stall = [] {
        const std::string text( 1000, 'x' );
        do {
            QV_LOG( Threads, Warning, text );
        } while( LgLog::flush( 0.5 ) );
        TestThread forking( [] {
            std::optional<MtExternalThreadGuard> guard( std::in_place, "forking" );
            TestThread ending( MtLogger::end );
            ending.waitUntilBlocked();
            const pid_t child = ::fork();
            if( child == 0 ) {
                ::alarm( static_cast<unsigned int>( 3 * testSlowdown() ) );
                guard.reset();
                MtLogger::end();
                MtLogger::haltAndFlushOnCrash();
                LgLog::destroy();
                ::_exit( 0 );
            }
            expectSuccess( child );
        } );
        forking.join();
        MtLogger::start();
        EXPECT_FALSE( LgLog::isLoggerActive() );
        drainLevelFile();
        MtLogger::start();
        EXPECT_TRUE( LgLog::isLoggerActive() );
        const std::uint64_t nbBefore = getNbTold();
        logLines( NB_LINES );
        EXPECT_TRUE( LgLog::flush( FLUSH_SECONDS ) );
        EXPECT_GE( getNbTold() - nbBefore, static_cast<std::uint64_t>( NB_LINES ) );
        ::_exit( ::testing::Test::HasFailure() ? 1 : 0 );
    };
    EXPECT_EXIT( stall(), ::testing::ExitedWithCode( 0 ), "" );
    ::close( pipe );
}

} // namespace Qv
