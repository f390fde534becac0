#include <base/init/src/inPackageFrame.h>
#include <base/text/wideStringUtil.h>
#include <resmgt/logger/lgLog.h>
#include <resmgt/logger/lgTail.h>
#include <resmgt/logger/qvLog.h>
#include <resmgt/threads/mtExternalThread.h>
#include <resmgt/threads/test/testProtocol.h>
#include <tests/support/childProcess.h>
#include <tests/support/deadline.h>
#include <tests/support/deniedCall.h>
#include <tests/support/scopedEnvironment.h>
#include <tests/support/tempDirectory.h>
#include <tests/support/testSettings.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <future>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

/// Processes that end at a random moment while threads log: what is in the log afterwards, and in
/// the tail. And what a statement may not need, by the process's end.

namespace Qv {

namespace {

constexpr std::size_t NB_THREADS = 3;
constexpr int FLUSH_INTERVAL = 300;
constexpr double FLUSH_SECONDS = 60.0;

/// What the process that ends has done, in a file that outlives it.
struct Record {
    std::atomic<long> process;
    /// Statements that are over, per thread.
    std::array<std::atomic<int>, NB_THREADS> nbLogged;
    /// Those that were over when the process set out to end.
    std::array<std::atomic<int>, NB_THREADS> nbLoggedBeforeEnd;
};

/// One thread's lines, as they stand in the log and after that in the tail.
struct Story {
    std::vector<int> numbers;
    std::uint64_t nbLost = 0;
    // The count of the log's last line of that kind, which may stand in the tail too.
    std::uint64_t nbLostLast = 0;

    void addLine( const std::string& text ) {
        static const std::string MARK = "] line ";
        const std::size_t mark = text.find( MARK );
        ASSERT_NE( mark, std::string::npos ) << text;
        const int number = std::atoi( text.c_str() + mark + MARK.size() );
        // A line that was being written stands in both.
        if( numbers.empty() || number != numbers.back() ) {
            numbers.push_back( number );
        }
    }
    void checkOrder() const {
        EXPECT_TRUE( std::is_sorted( numbers.begin(), numbers.end() ) );
        EXPECT_EQ( std::adjacent_find( numbers.begin(), numbers.end() ), numbers.end() );
    }
    /// The number of lines from 0 on without a gap.
    int getNbWhole() const {
        int number = 0;
        while( number < static_cast<int>( numbers.size() ) &&
               numbers[static_cast<std::size_t>( number )] == number ) {
            ++number;
        }
        return number;
    }
};

using Stories = std::array<Story, NB_THREADS>;

void readLog( const std::filesystem::path& path, Stories& stories ) {
    static const std::string OVERFLOW_MARK = "Event overflow [";
    std::ifstream file( path );
    for( std::string line; std::getline( file, line ) && !file.eof(); ) {
        const std::size_t name = line.find( "] t" );
        const std::size_t index = name != std::string::npos
                                      ? static_cast<std::size_t>( line[name + 3] - '0' )
                                      : NB_THREADS;
        if( index >= NB_THREADS ) {
            continue;
        }
        const std::size_t lost = line.find( OVERFLOW_MARK );
        if( lost != std::string::npos ) {
            stories[index].nbLostLast =
                std::strtoull( line.c_str() + lost + OVERFLOW_MARK.size(), nullptr, 10 );
            stories[index].nbLost += stories[index].nbLostLast;
        } else {
            stories[index].addLine( line );
        }
    }
}

void takeTail( long number, Stories& stories ) {
    for( const LgTail::Process& process : LgTail::read() ) {
        if( process.isAlive || process.number != static_cast<std::uint64_t>( number ) ) {
            continue;
        }
        for( const LgTail::Line& line : process.lines ) {
            const std::size_t index = line.threadName[0] == 't'
                                          ? static_cast<std::size_t>( line.threadName[1] - '0' )
                                          : NB_THREADS;
            if( index < NB_THREADS ) {
                stories[index].nbLost += line.nbLost;
                if( line.nbLost == 0 ) {
                    stories[index].addLine( line.text );
                }
            }
        }
        EXPECT_TRUE( LgTail::remove( process ) );
    }
}

struct End {
    const char* name;
    void ( *run )();
    /// 0: it exits.
    int signal;
    bool hasTail;
    /// More than the reader can handle.
    bool isFlood;
};

template <int Signal>
void die() {
    // A sanitizer may have a handler of its own.
    ::signal( Signal, SIG_DFL );
    ::raise( Signal );
}

const std::vector<End> ends = {
    { "SIGKILL", die<SIGKILL>, SIGKILL, false, false },
    { "SIGKILL with a tail", die<SIGKILL>, SIGKILL, true, false },
    { "SIGKILL in a flood", die<SIGKILL>, SIGKILL, true, true },
    { "SIGSEGV", die<SIGSEGV>, SIGSEGV, false, false },
    { "SIGSEGV in a flood", die<SIGSEGV>, SIGSEGV, true, true },
    { "terminate", [] { std::terminate(); }, 0, false, false },
    { "exit", [] { std::exit( 1 ); }, 0, false, false },
    { "a stop with threads left",
      [] {
          InPackageFrame::getInstance().stop();
          ::_exit( 1 );
      },
      0, false, false },
};

void logForEver( std::size_t index, bool isFlood, Record& record ) {
    for( int i = 0;; ++i ) {
        QV_LOG( Threads, Warning, "line ", i );
        record.nbLogged[index].store( i + 1 );
        if( !isFlood && i % FLUSH_INTERVAL == 0 ) {
            LgLog::flush( FLUSH_SECONDS );
        }
    }
}

/// In the process that ends.
void logUntil( const End& end ) {
    const std::string log = WideStringUtil::narrowMB( LgLog::getLevelFile( LgTypes::Warning ) );
    const SharedFile<Record> shared( log + ".record" );
    Record& record = *shared;
    record.process.store( ::getpid() );
    for( std::size_t i = 0; i < NB_THREADS; ++i ) {
        OPtr<MtThread> thread =
            makeThread( [&, i]( MtThread& ) { logForEver( i, end.isFlood, record ); },
                        "t" + std::to_string( i ) );
        thread->start();
        // They run until the end.
        static_cast<void>( thread.release() );
    }
    std::mt19937_64 random( testSeed() );
    const int nbBefore = 1 + static_cast<int>( random() % 5000 );
    waitUntil( [&] { return record.nbLogged[0].load() >= nbBefore; }, "the threads' statements" );
    for( std::size_t i = 0; i < NB_THREADS; ++i ) {
        record.nbLoggedBeforeEnd[i].store( record.nbLogged[i].load() );
    }
    end.run();
}

void checkStory( const End& end, const Story& story, int nbLogged, int nbLoggedBeforeEnd ) {
    story.checkOrder();
    if( end.signal == 0 ) {
        EXPECT_GE( story.getNbWhole(), nbLoggedBeforeEnd );
        return;
    }
    std::uint64_t nbTold = story.numbers.size() + story.nbLost;
    // A statement may have been over without the record.
    const std::uint64_t most = static_cast<std::uint64_t>( nbLogged ) + 1;
    if( end.hasTail && nbTold > most ) {
        nbTold -= story.nbLostLast;
    }
    EXPECT_LE( nbTold, most );
    if( end.hasTail ) {
        EXPECT_GE( nbTold, static_cast<std::uint64_t>( nbLogged ) );
    }
    if( !end.isFlood ) {
        EXPECT_EQ( static_cast<std::size_t>( story.getNbWhole() ), story.numbers.size() );
        EXPECT_GE( story.getNbWhole(), nbLogged - FLUSH_INTERVAL - 1 );
    }
}

} // namespace

TEST( MtLoggerDeathTest, TheLogHasEachThreadsLinesUpToTheBoundHoweverTheProcessEnds ) {
    for( long round = 0; round < scaledCount( 2 ); ++round ) {
        for( const End& end : ends ) {
            SCOPED_TRACE( end.name );
            const TempDirectory directory;
            const std::filesystem::path log = directory.path() / "log.txt";
            const ScopedEnvironment warnings( "QV_LOG_WARNING", log.c_str() );
            const ScopedEnvironment overflows( "QV_LOG_INFORMATIONAL", log.c_str() );
            const ScopedEnvironment names( "QV_LOG_ENABLE_THREADNAMES", "1" );
            const ScopedEnvironment tail( "QV_LOG_TAIL", end.hasTail ? "1" : "0" );
            if( end.signal != 0 ) {
                EXPECT_EXIT( logUntil( end ), ::testing::KilledBySignal( end.signal ), "" );
            } else {
                EXPECT_EXIT( logUntil( end ), ::testing::ExitedWithCode( 1 ), "" );
            }
            const SharedFile<Record> record( log.string() + ".record" );
            Stories stories;
            readLog( log, stories );
            if( end.hasTail ) {
                takeTail( record->process, stories );
            }
            for( std::size_t i = 0; i < NB_THREADS; ++i ) {
                SCOPED_TRACE( i );
                checkStory( end, stories[i], record->nbLogged[i], record->nbLoggedBeforeEnd[i] );
            }
        }
    }
}

#if defined( QV_SANITIZE_ADDRESS )
// Through a pipe the checks of undefined behaviour see whether there is an object at all; before a
// call that doesn't return the sanitizer asks for the stack of signals.
constexpr std::initializer_list<unsigned int> ALLOWED_CALLS{
    SYS_exit_group, SYS_clock_gettime, SYS_pipe2, SYS_write, SYS_close, SYS_sigaltstack };
#else
// The clock may need one.
constexpr std::initializer_list<unsigned int> ALLOWED_CALLS{ SYS_exit_group, SYS_clock_gettime };
#endif

/// Those of a started thread, and those of an adopted one: both have their queues before.
TEST( MtLoggerDeathTest, AStatementNeedsNeitherMemoryNorTheSystem ) {
    const auto log = [] {
        allowOnly( ALLOWED_CALLS );
        const FailingNew none( 0 );
        // More than a queue holds.
        for( int i = 0; i < 3000; ++i ) {
            QV_LOG( Threads, Warning, "line ", i, ' ', 0.1 * i, ' ', 1.0L / 3, ' ', &none, true,
                    std::string_view( "view" ) );
            QV_LOG( Threads, Profiling, "closed ", i );
        }
        ::_exit( 0 );
    };
    EXPECT_EXIT( runThread( [&]( MtThread& ) { log(); } ), ::testing::ExitedWithCode( 0 ), "" );
    EXPECT_EXIT( std::async( std::launch::async,
                             [&] {
                                 const MtExternalThreadGuard guard( "adopted" );
                                 log();
                             } )
                     .wait(),
                 ::testing::ExitedWithCode( 0 ), "" );
}

} // namespace Qv
