#include <tests/support/deadline.h>
#include <tests/support/gate.h>
#include <tests/support/processCounts.h>
#include <tests/support/tempDirectory.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <sys/wait.h>

namespace Qv {

namespace {

using ::testing::HasSubstr;

struct Outcome {
    int exitCode;
    std::string output;
};

// Runs one test of the program beside this one whose tests are meant to fail.
Outcome runOddTest( const std::string& name, const std::string& environment ) {
    const std::filesystem::path here = std::filesystem::read_symlink( "/proc/self/exe" );
    const std::string program = here.parent_path() / "supportTestOddTests";
    const std::string command =
        environment + " '" + program + "' --gtest_filter=OddTest." + name + " 2>&1";
    FILE* const pipe = ::popen( command.c_str(), "r" );
    std::string output;
    for( int c = 0; ( c = std::fgetc( pipe ) ) != EOF; ) {
        output += static_cast<char>( c );
    }
    const int status = ::pclose( pipe );
    return { WIFEXITED( status ) ? WEXITSTATUS( status ) : -1, output };
}

TEST( SupportTest, HangThreadsExceptionOrMalformedSettingEndsATestWithAnExplanation ) {
    const struct {
        const char* _test;
        const char* _environment;
        int _exitCode;
        std::vector<const char*> _output;
    } cases[] = {
        { "SleepingAndSpinning",
          "QV_TEST_DEADLINE=1",
          3,
          { "OddTest.SleepingAndSpinning", "sleepAtAGateThatNobodyOpens", "spinForEver",
            "TestThread::join" } },
        { "ThreadsException", "", 1, { "from the thread" } },
        { "PrintSeed", "QV_TEST_SEED=1234567890123", 0, { "\nQV_TEST_SEED=1234567890123\n" } },
        { "PrintSeed", "QV_TEST_SEED=12x", 2, { "QV_TEST_SEED is '12x'" } },
    };
    for( const auto& c : cases ) {
        const Outcome outcome = runOddTest( c._test, c._environment );
        EXPECT_EQ( outcome.exitCode, c._exitCode ) << c._test << c._environment;
        for( const char* part : c._output ) {
            EXPECT_THAT( outcome.output, HasSubstr( part ) );
        }
    }
}

TEST( TestThreadTest, BlockedIsSeenOnlyOnceTheThreadSleeps ) {
    Gate gate( "the sleeper's" );
    TestThread thread( [&] { gate.wait(); } );
    thread.waitUntilBlocked();
    EXPECT_FALSE( thread.isDone() );
    gate.open();
    thread.join();
    EXPECT_TRUE( thread.isDone() );
}

TEST( TempDirectoryTest, GoesWithAllThatItHolds ) {
    std::filesystem::path path;
    {
        const TempDirectory directory;
        path = directory.path();
        std::filesystem::create_directories( path / "a" / "b" );
    }
    EXPECT_FALSE( std::filesystem::exists( path ) );
}

TEST( ProcessCountsTest, ThreadAndDescriptorAreCountedWhileTheyLive ) {
    const int nbThreads = countThreads();
    const int nbDescriptors = countDescriptors();
    Gate gate( "the counted thread's" );
    {
        TestThread thread( [&] { gate.wait(); } );
        const std::ifstream file( "/proc/self/exe" );
        EXPECT_EQ( countThreads(), nbThreads + 1 );
        EXPECT_EQ( countDescriptors(), nbDescriptors + 1 );
        gate.open();
    }
    waitUntil( [&] { return countThreads() == nbThreads; }, "the end of the counted thread" );
    EXPECT_EQ( countDescriptors(), nbDescriptors );
}

} // namespace

} // namespace Qv
