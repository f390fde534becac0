#include <resmgt/logger/lgQueue.h>
#include <resmgt/logger/lgTail.h>
#include <tests/support/childProcess.h>
#include <tests/support/scopedEnvironment.h>
#include <tests/support/tempDirectory.h>
#include <tests/support/testSettings.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

namespace Qv {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;

constexpr const char* RECORD = "QVLOG_TEST_RECORD";

ShellOutcome runQvlog( const std::string& arguments ) {
    return runShell( "\"" QVLOG_PROGRAM "\" 2>&1 " + arguments );
}

void log( LgQueue& queue, const char* text, bool isNesting = false ) {
    ASSERT_TRUE( queue.reserveEntry( LgTypes::Warning ) );
    if( isNesting ) {
        // Is lost.
        ASSERT_FALSE( queue.reserveEntry( LgTypes::Warning ) );
    }
    queue.getStream() << text << endString;
    queue.addEntry();
}

/// In a process that writes its number down first. The first line has been handled.
void fill( LgQueue& queue ) {
    std::ofstream( std::getenv( RECORD ) ) << ::getpid();
    log( queue, "line 0" );
    log( queue, "line 1" );
    log( queue, "\033[31mred\n", true );
    queue.removeEntry();
}

void leaveTail() {
    LgQueue queue( 66, "left" );
    fill( queue );
    ::raise( SIGKILL );
}

/// The processes of these tests keep their queues.
class QvlogTest : public ::testing::Test {
protected:
    std::string getProcess() const { return readFile( _record ); }
    static std::optional<LgTail::Process> findTail( const std::string& process ) {
        for( const LgTail::Process& found : LgTail::read() ) {
            if( std::to_string( found.number ) == process && !found.isAlive ) {
                return found;
            }
        }
        return std::nullopt;
    }

    const TempDirectory _directory;
    // The process that a test kills finds its parent's.
    const std::filesystem::path _record = std::getenv( RECORD ) != nullptr
                                              ? std::filesystem::path( std::getenv( RECORD ) )
                                              : _directory.path() / "record";
    const ScopedEnvironment _tail{ "QV_LOG_TAIL", "1" };
    const ScopedEnvironment _recordVariable{ RECORD, _record.c_str() };
};

TEST_F( QvlogTest, PrintsAndRemovesWhatAKilledProcessHadNotWritten ) {
    EXPECT_EXIT( leaveTail(), ::testing::KilledBySignal( SIGKILL ), "" );
    const std::string process = getProcess();
    const std::string lines =
        "Process " + process +
        "\n20..-..-..T..:..:..\\...Z \\[Warning       \\] left       \\(0x00000042\\) line 1"
        "\n[^ ]* \\[Warning       \\] left       \\(0x00000042\\) \\?\\[31mred\n"
        "\n[^ ]* \\[Informational \\] left       \\(0x00000042\\) Event overflow \\[1\\]\n";
    const std::tuple<std::string, int, std::string> cases[] = {
        { "", 2, "qvlog: a command is missing.\nSee qvlog --help.\n" },
        { "head", 2, "qvlog: 'head' is no command.\nSee qvlog --help.\n" },
        { "tail 0", 2, "qvlog: '0' is neither an option nor a process's number.\n.*" },
        { "--help", 0, "Usage: qvlog tail .*" },
        { "tail " + process, 0, lines },
        { "tail --remove " + process + " >/dev/full", 1,
          "qvlog: the standard output can't be written: No space left on device.\n" },
        { "tail --remove " + process, 0, lines },
        { "tail " + process, 1, "qvlog: process " + process + " has left nothing.\n" },
    };
    for( const auto& [arguments, status, text] : cases ) {
        const ShellOutcome outcome = runQvlog( arguments );
        EXPECT_EQ( outcome.status, status ) << arguments;
        EXPECT_THAT( outcome.text, MatchesRegex( text ) ) << arguments;
    }
    EXPECT_FALSE( findTail( process ) );
}

TEST_F( QvlogTest, LeavesTheQueuesOfAProcessThatRunsAlone ) {
    const auto run = [] {
        LgQueue queue( 66, "left" );
        fill( queue );
        const std::string process = std::to_string( ::getpid() );
        const ShellOutcome outcome = runQvlog( "tail --remove " + process );
        EXPECT_EQ( outcome.status, 1 );
        EXPECT_THAT( outcome.text,
                     AllOf( HasSubstr( "Process " + process + ", still running\n" ),
                            HasSubstr( ") line 1\n" ), HasSubstr( "couldn't be removed" ) ) );
        EXPECT_THAT( runQvlog( "tail" ).text, Not( HasSubstr( "Process " + process + "\n" ) ) );
        EXPECT_EQ( runQvlog( "tail " + process ).status, 0 );
        ::_exit( ::testing::Test::HasFailure() ? 1 : 0 );
    };
    EXPECT_EXIT( run(), ::testing::ExitedWithCode( 0 ), "" );
}

TEST_F( QvlogTest, WhatIsNoQueueOrATornOneDoesNoHarm ) {
    EXPECT_EXIT( leaveTail(), ::testing::KilledBySignal( SIGKILL ), "" );
    const std::optional<LgTail::Process> whole = findTail( getProcess() );
    ASSERT_TRUE( whole );
    const auto file = std::find_if( whole->files.begin(), whole->files.end(), [&]( const auto& f ) {
        return readFile( "/dev/shm/" + f ).find( "red" ) != std::string::npos;
    } );
    ASSERT_NE( file, whole->files.end() );
    for( const std::string& other : whole->files ) {
        if( other != *file ) {
            std::filesystem::remove( "/dev/shm/" + other );
        }
    }
    const std::filesystem::path path = "/dev/shm/" + *file;
    const std::string bytes = readFile( path );
    // The sizes of the two rings, where the reach of all else comes from.
    const std::size_t sizes = bytes.find( std::string( "\0\x80\0\0\0\4\0\0", 8 ) );
    ASSERT_NE( sizes, std::string::npos );
    std::mt19937_64 random( testSeed() );
    const auto write = [&]( const std::string& text ) {
        std::ofstream( path, std::ios::binary | std::ios::trunc ) << text;
    };
    // As one is that has just been made.
    write( "" );
    EXPECT_FALSE( findTail( getProcess() ) );
    for( long i = 0; i < scaledCount( 1000 ); ++i ) {
        std::string torn = bytes;
        // Mostly in the head, which decides.
        const std::size_t reach = random() % 4 != 0 ? 512 : torn.size();
        for( std::size_t nb = random() % 20; nb > 0; --nb ) {
            torn[random() % reach] = static_cast<char>( random() % 3 == 0 ? random() : 0 );
        }
        if( random() % 4 == 0 ) {
            const std::uint32_t size = 1U << random() % 32;
            std::memcpy( &torn[sizes + 4 * ( random() % 2 )], &size, sizeof( size ) );
        }
        if( random() % 4 == 0 ) {
            torn.resize( random() % torn.size() );
        }
        write( torn );
        for( const LgTail::Process& process : LgTail::read() ) {
            // Not those that others leave meanwhile.
            if( process.files == std::vector{ *file } ) {
                for( const LgTail::Line& line : process.lines ) {
                    ASSERT_LE( line.text.size(), torn.size() );
                    ASSERT_LT( line.level, LgTypes::NUM_LEVELS );
                }
            }
        }
        if( i % 100 == 0 ) {
            ASSERT_EQ( runQvlog( "tail" ).status, 0 );
        }
    }
    write( bytes );
    EXPECT_TRUE( LgTail::remove( findTail( getProcess() ).value() ) );
}

TEST_F( QvlogTest, TheOldestTailsGoWhenAProcessStarts ) {
    constexpr std::size_t NB_LEFT = 12;
    std::vector<std::string> processes;
    for( std::size_t i = 0; i < NB_LEFT; ++i ) {
        EXPECT_EXIT( leaveTail(), ::testing::KilledBySignal( SIGKILL ), "" );
        processes.push_back( getProcess() );
    }
    EXPECT_FALSE( findTail( processes.front() ) );
    EXPECT_TRUE( findTail( processes.back() ) );
    for( const std::string& process : processes ) {
        if( const std::optional<LgTail::Process> tail = findTail( process ) ) {
            EXPECT_TRUE( LgTail::remove( *tail ) );
        }
    }
}

} // namespace
} // namespace Qv
