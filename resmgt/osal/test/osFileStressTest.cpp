#include <resmgt/osal/osFileReader.h>
#include <resmgt/osal/osFileWriter.h>
#include <resmgt/osal/osMTFileReader.h>
#include <resmgt/osal/osMTFileWriter.h>
#include <resmgt/osal/test/testFiles.h>
#include <tests/support/childProcess.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <sys/time.h>
#include <sys/wait.h>

#include <array>
#include <csignal>

/// Many threads, two processes and a storm of signals, with every byte checked.

namespace Qv {
namespace {

const OsFileTypes::Permissions mine( 3, 0, 0 );

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

/// Writes and reads again blocks of its own in turn: those whose number is `own` modulo `nbOwners`.
void transferBlocks( OsMTFileWriter& writer, OsMTFileReader& reader, std::size_t own,
                     std::size_t nbOwners, long count ) {
    constexpr std::size_t SIZE = 8000;
    constexpr std::size_t NB_BLOCKS = 50;
    std::array<std::string, NB_BLOCKS> contents;
    std::string block( SIZE, '\0' );
    for( std::size_t i = 0; i < static_cast<std::size_t>( count ); ++i ) {
        const std::size_t number = i % NB_BLOCKS;
        const auto at = static_cast<long long>( ( number * nbOwners + own ) * SIZE );
        if( i / NB_BLOCKS % 2 == 0 ) {
            contents[number].assign( SIZE, static_cast<char>( own * 29 + i ) );
            writer.write( contents[number].data(), at, SIZE );
        }
        ASSERT_EQ( i % 2 == 0 ? reader.read( block.data(), at, SIZE )
                              : writer.read( block.data(), at, SIZE ),
                   SIZE );
        ASSERT_TRUE( block == contents[number] ) << i;
        // Nobody else knows the path's text when the first failures are told.
        EXPECT_THAT( raisedBy<Sys>( [&] { reader.read( block.data(), -1, 1 ); } ),
                     HasSubstr( "/file" ) );
    }
}

TEST( OsFileStressTest, ThreadsShareOneReaderAndOneWriterWithoutMixingTheirBytes ) {
    constexpr std::size_t NB_THREADS = 8;
    const TestFiles files;
    OsMTFileWriter writer( files.path( "file" ), mine, true, false );
    OsMTFileReader reader( files.path( "file" ), false );
    const SignalStorm storm;
    TestThreads( NB_THREADS, [&]( std::size_t own ) {
        transferBlocks( writer, reader, own, NB_THREADS, scaledCount( 4000 ) );
    } ).join();
}

TEST( OsFileStressTest, ProcessesShareOneFileWithoutMixingTheirBytes ) {
    const TestFiles files( "file" );
    const auto transfer = [&]( std::size_t own ) {
        OsMTFileWriter writer( files.path( "file" ), mine, false, false );
        OsMTFileReader reader( files.path( "file" ), false );
        transferBlocks( writer, reader, own, 2, scaledCount( 8000 ) );
    };
    const pid_t child = ::fork();
    ASSERT_GE( child, 0 );
    if( child == 0 ) {
        transfer( 1 );
        ::_exit( ::testing::Test::HasFailure() ? 1 : 0 );
    }
    transfer( 0 );
    expectSuccess( child );
}

TEST( OsFileStressTest, SignalsDontDisturbReservingAndCopying ) {
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

TEST( OsFileStressTest, ReadOfAPipeWaitsForAllItsBytesThroughSignals ) {
    const TestFiles files( "pipe|" );
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

} // namespace
} // namespace Qv
