#include <resmgt/osal/osFileReader.h>
#include <resmgt/osal/osFileWriter.h>
#include <resmgt/osal/osMTFileReader.h>
#include <resmgt/osal/osMTFileWriter.h>
#include <resmgt/osal/test/testFiles.h>
#include <tests/support/raisedBy.h>
#include <tests/support/tempDirectory.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>
#include <sys/time.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdint>
#include <cstring>
#include <deque>
#include <random>
#include <vector>

/// Many threads, two processes and a storm of signals, with every byte checked.

namespace Qv {
namespace {

using OsFileTypes::Permissions;

const Permissions mine( 3, 0, 0 );
/// A file of so many words, of which each transfer takes a block.
constexpr std::size_t BLOCK = 1000;
constexpr std::size_t NB_BLOCKS = 500;

/// The word at `place` after its block was written `nbTimes` times.
std::uint64_t word( std::size_t place, std::uint64_t nbTimes ) {
    return place * 0x9e3779b97f4a7c15U + nbTimes;
}

/// Writes and reads again blocks of its own, those whose number is `own` modulo `nbOwners`.
void transferBlocks( OsMTFileWriter& writer, OsMTFileReader& reader, std::size_t own,
                     std::size_t nbOwners, std::uint64_t seed, long count ) {
    std::mt19937_64 random( seed );
    std::vector<std::uint64_t> nbTimes( NB_BLOCKS );
    std::vector<std::uint64_t> words( BLOCK );
    constexpr auto size = BLOCK * sizeof( std::uint64_t );
    for( long i = 0; i < count; ++i ) {
        const std::size_t block = random() % ( NB_BLOCKS / nbOwners ) * nbOwners + own;
        const auto at = static_cast<long long>( block * size );
        const bool writes = nbTimes[block] == 0 || random() % 2 == 0;
        nbTimes[block] += writes ? 1 : 0;
        for( std::size_t k = 0; writes && k < BLOCK; ++k ) {
            words[k] = word( block * BLOCK + k, nbTimes[block] );
        }
        if( writes ) {
            writer.write( words.data(), at, size );
        }
        const auto got = random() % 2 == 0 ? reader.read( words.data(), at, size )
                                           : writer.read( words.data(), at, size );
        ASSERT_EQ( got, size );
        for( std::size_t k = 0; k < BLOCK; ++k ) {
            ASSERT_EQ( words[k], word( block * BLOCK + k, nbTimes[block] ) ) << block << ' ' << k;
        }
    }
}

/// Interrupts whatever the process does, over and over while it lives.
class SignalStorm {
public:
    SignalStorm() {
        struct sigaction action {};
        action.sa_handler = []( int ) {};
        ::sigaction( SIGALRM, &action, &_before );
        const itimerval often{ { 0, 200 }, { 0, 200 } };
        ::setitimer( ITIMER_REAL, &often, nullptr );
    }
    SignalStorm( const SignalStorm& ) = delete;
    SignalStorm& operator=( const SignalStorm& ) = delete;
    ~SignalStorm() {
        const itimerval never{};
        ::setitimer( ITIMER_REAL, &never, nullptr );
        ::sigaction( SIGALRM, &_before, nullptr );
    }

private:
    struct sigaction _before;
};

TEST( OsMTFileStress, ThreadsShareOneReaderAndOneWriterWithoutMixingTheirBytes ) {
    const TestFiles files;
    OsMTFileWriter writer( files.path( "file" ), mine, true, false );
    OsMTFileReader reader( files.path( "file" ), false );
    const SignalStorm storm;
    constexpr std::size_t nbThreads = 8;
    std::deque<TestThread> threads;
    for( std::size_t own = 0; own < nbThreads; ++own ) {
        threads.emplace_back( [&, own] {
            transferBlocks( writer, reader, own, nbThreads, testSeed() + own, scaledCount( 4000 ) );
        } );
    }
    for( TestThread& thread : threads ) {
        thread.join();
    }
}

TEST( OsMTFileStress, ProcessesShareOneFileWithoutMixingTheirBytes ) {
    const TestFiles files;
    const auto transfer = [&]( std::size_t own ) {
        OsMTFileWriter writer( files.path( "file" ), mine, false, false );
        OsMTFileReader reader( files.path( "file" ), false );
        transferBlocks( writer, reader, own, 2, testSeed() + own, scaledCount( 8000 ) );
    };
    const pid_t child = ::fork();
    ASSERT_GE( child, 0 );
    if( child == 0 ) {
        transfer( 1 );
        ::_exit( ::testing::Test::HasFailure() ? 1 : 0 );
    }
    transfer( 0 );
    int status = -1;
    ASSERT_EQ( ::waitpid( child, &status, 0 ), child );
    EXPECT_EQ( status, 0 );
}

TEST( OsMTFileStress, SignalsDontDisturbReservingAndCopying ) {
    const TestFiles files;
    const SignalStorm storm;
    const std::string content( 100000, 'c' );
    constexpr int nbTimes = 200;
    OsFileWriter writer( files.path( "file" ), mine, true, false );
    writer.reserve( content.size() * nbTimes );
    writer.seek( 0, OsFileTypes::FROM_BEGINNING );
    OsFileReader reader( files.path( "file" ), false );
    std::string buffer( content.size(), '\0' );
    for( int i = 0; i < nbTimes; ++i ) {
        writer.write( content.data(), content.size() );
        ASSERT_EQ( reader.read( buffer.data(), buffer.size() ), content.size() );
        ASSERT_EQ( buffer, content );
    }
    EXPECT_EQ( reader.read( buffer.data(), 1 ), 0U );
}

TEST( OsMTFileStress, ReadOfAPipeWaitsForAllItsBytesThroughSignals ) {
    const TestFiles files;
    ASSERT_EQ( ::mkfifo( files.at( "pipe" ).c_str(), 0600 ), 0 );
    std::string buffer( 10, '\0' );
    unsigned long long size = 0;
    const SignalStorm storm;
    TestThread reading( [&] {
        size = OsFileReader( files.path( "pipe" ), false ).read( buffer.data(), buffer.size() );
    } );
    OsFileWriter writer( files.path( "pipe" ), mine, false, false );
    for( const char* const piece : { "abc", "defg", "hij" } ) {
        reading.waitUntilBlocked();
        writer.write( piece, std::strlen( piece ) );
    }
    reading.join();
    EXPECT_EQ( buffer.substr( 0, size ), "abcdefghij" );
}

TEST( OsMTFileStress, ThreadsThatFailAtOnceTellTheSamePath ) {
    const TempDirectory directory;
    const OsFilePath path( ( directory.path() / "file" ).string() );
    OsMTFileWriter writer( path, mine, true, false );
    std::deque<TestThread> threads;
    for( int i = 0; i < 4; ++i ) {
        threads.emplace_back( [&] {
            for( int round = 0; round < 100; ++round ) {
                EXPECT_THAT( raisedBy( [&] { writer.write( "x", -1, 1 ); } ),
                             testing::HasSubstr( directory.path().string() + "/file" ) );
            }
        } );
    }
}

} // namespace
} // namespace Qv
