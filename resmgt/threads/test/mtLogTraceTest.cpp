#include <resmgt/logger/lgLog.h>
#include <resmgt/logger/lgQueue.h>
#include <resmgt/logger/lgTrace.h>
#include <resmgt/threads/test/testProtocol.h>
#include <tests/support/scopedEnvironment.h>
#include <tests/support/tempDirectory.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>

#include <fstream>
#include <map>
#include <regex>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace Qv {

namespace {

constexpr double FLUSH_SECONDS = 60.0;

/// The ends of processes whose traces go to a file, which the log of each has opened at its start.
class MtLogTraceDeathTest : public ::testing::Test {
protected:
    TempDirectory _directory;
    const std::filesystem::path _file = _directory.path() / "traces.txt";
    const ScopedEnvironment _tracing{ "QV_LOG_TRACING", _file.c_str() };
};

} // namespace

TEST_F( MtLogTraceDeathTest, ABlockingTraceLosesNothingHoweverFastItIs ) {
    constexpr int NB_THREADS = 4;
    constexpr int NB_LINES = 3000;
    constexpr std::size_t MAX_SIZE = LgStream::getMaxSize();
    const ScopedEnvironment blocking( "QV_LOG_BLOCKING_TRACE", "1" );
    const ScopedEnvironment noTime( "QV_LOG_ENABLE_TIME", "0" );
    const ScopedEnvironment noLevel( "QV_LOG_DISABLE_LOGLEVELS", "1" );
    const auto trace = [] {
        for( int i = 0; i < NB_LINES; ++i ) {
            LgTrace::print( ( std::to_string( i ) + std::string( 60, '.' ) ).c_str() );
        }
        LgTrace::print( std::string( MAX_SIZE - 1, 'y' ).c_str() );
        LgTrace::print( std::string( 2 * MAX_SIZE, 'x' ).c_str() );
    };
    const auto run = [&] {
        TestThreads( NB_THREADS, trace ).join();
        return LgLog::flush( FLUSH_SECONDS ) ? 0 : 1;
    };
    EXPECT_EXIT( ::_exit( run() ), ::testing::ExitedWithCode( 0 ), "" );
    // One text is as long as can be kept whole, one is cut into two of that length and a rest.
    std::map<std::string, int> longLines;
    std::map<int, int> numbers;
    std::ifstream file( _file );
    std::string line;
    for( std::getline( file, line ), std::getline( file, line ); std::getline( file, line ); ) {
        if( line.find_first_not_of( line[0] ) == line.npos ) {
            longLines[line[0] + std::to_string( line.size() )] += 1;
        } else {
            numbers[std::stoi( line )] += 1;
        }
    }
    const std::string whole = std::to_string( MAX_SIZE - 1 );
    const std::map<std::string, int> expected = {
        { "x" + whole, 2 * NB_THREADS }, { "x2", NB_THREADS }, { "y" + whole, NB_THREADS } };
    EXPECT_EQ( longLines, expected );
    EXPECT_EQ( numbers.size(), static_cast<std::size_t>( NB_LINES ) );
    EXPECT_THAT( numbers, ::testing::Each( ::testing::Pair( ::testing::_, NB_THREADS ) ) );
}

TEST_F( MtLogTraceDeathTest, ASynchronousTraceIsOnStandardOutputAtOnceAndNowhereElse ) {
    const ScopedEnvironment synchronous( "QV_SYNCHRONOUS_TRACING", "1" );
    const ScopedEnvironment names( "QV_LOG_ENABLE_THREADNAMES", "1" );
    const auto run = [&] {
        const std::string output = ( _directory.path() / "output.txt" ).string();
        ::dup2( ::open( output.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600 ), STDOUT_FILENO );
        runThread(
            []( MtThread& ) {
                LgTrace::print( "traced" );
                const LgQueue::SuppressGuard suppress( *LgLog::getQueue() );
                LgTrace::print( "suppressed" );
            },
            "tracing" );
        const std::regex expected( "00:00:[0-9.]* \\[Tracing       \\] tracing    traced\n" );
        return std::regex_match( readFile( output ), expected ) && LgLog::flush( FLUSH_SECONDS )
                   ? 0
                   : 1;
    };
    EXPECT_EXIT( ::_exit( run() ), ::testing::ExitedWithCode( 0 ), "" );
    EXPECT_THAT( readFile( _file ),
                 ::testing::AllOf( ::testing::StartsWith( "Logger started on " ),
                                   ::testing::Not( ::testing::HasSubstr( "traced" ) ) ) );
}

} // namespace Qv
