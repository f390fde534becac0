#include <resmgt/logger/lgLog.h>
#include <resmgt/logger/lgQueue.h>
#include <resmgt/logger/lgRegistry.h>
#include <resmgt/logger/lgTail.h>
#include <resmgt/logger/qvLog.h>
#include <resmgt/threads/mtExternalThread.h>
#include <resmgt/threads/mtLogger.h>
#include <resmgt/threads/src/mtQueueObserver.h>
#include <resmgt/threads/test/testProtocol.h>
#include <tests/support/deadline.h>
#include <tests/support/scopedEnvironment.h>
#include <tests/support/tempDirectory.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

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

std::vector<int> readLines( const std::filesystem::path& path ) {
    std::ifstream file( path );
    return findLines( std::string( std::istreambuf_iterator<char>( file ), {} ) );
}

std::vector<int> firstNumbers( int nb ) {
    std::vector<int> numbers;
    for( int i = 0; i < nb; ++i ) {
        numbers.push_back( i );
    }
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

TEST_F( MtLoggerEndTest, NothingIsLostHoweverTheProcessEndsItself ) {
    const std::vector<std::pair<const char*, void ( * )()>> ends = {
        { "terminate", [] { std::terminate(); } },
        { "crash sequence",
          [] {
              MtLogger::haltAndFlushOnCrash();
              MtLogger::haltAndFlushOnCrash();
              ::_exit( LgLog::isLoggerActive() ? 2 : 1 );
          } },
    };
    for( const auto& [name, end] : ends ) {
        SCOPED_TRACE( name );
        std::filesystem::remove( _file );
        EXPECT_EXIT(
            {
                logLines( NB_LINES );
                end();
            },
            ::testing::ExitedWithCode( 1 ), "" );
        EXPECT_EQ( readLines( _file ), firstNumbers( NB_LINES ) );
    }
}

TEST_F( MtLoggerEndTest, StatementsGoOnAfterTheCrashSequence ) {
    EXPECT_EXIT(
        {
            MtLogger::haltAndFlushOnCrash();
            logLines( NB_LINES );
            ::_exit( 0 );
        },
        ::testing::ExitedWithCode( 0 ), "" );
    EXPECT_EQ( readLines( _file ), firstNumbers( NB_LINES ) );
}

TEST_F( MtLoggerEndTest, WhatAKilledProcessHadNotWrittenIsInItsTail ) {
    const ScopedEnvironment tail( "QV_LOG_TAIL", "1" );
    for( const int signal : { SIGKILL, SIGSEGV } ) {
        std::filesystem::remove( _file );
        EXPECT_EXIT(
            {
                logLines( NB_LINES );
                ::raise( signal );
            },
            ::testing::KilledBySignal( signal ), "" );
        std::vector<int> numbers = readLines( _file );
        for( const LgTail::Process& process : LgTail::read() ) {
            if( process.isAlive ) {
                continue;
            }
            for( const LgTail::Line& line : process.lines ) {
                for( const int number : findLines( line.text ) ) {
                    // A line that was being written stands in both.
                    if( numbers.empty() || number != numbers.back() ) {
                        numbers.push_back( number );
                    }
                }
            }
            EXPECT_TRUE( LgTail::remove( process ) );
        }
        EXPECT_EQ( numbers, firstNumbers( NB_LINES ) );
    }
}

} // namespace Qv
