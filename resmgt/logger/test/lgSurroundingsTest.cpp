#include <resmgt/logger/lgLog.h>
#include <resmgt/logger/src/lgFile.h>
#include <resmgt/logger/test/loggerRun.h>
#include <resmgt/osal/test/failingCalls.h>

#include <tests/support/tempDirectory.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <regex>
#include <string>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Qv {

namespace {

namespace fs = std::filesystem;

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

/// Those in a folder, and below, whose paths match.
std::vector<fs::path> findFiles( const fs::path& folder, const std::string& pattern ) {
    std::vector<fs::path> found;
    for( const auto& entry : fs::recursive_directory_iterator( folder ) ) {
        if( entry.is_regular_file() &&
            std::regex_match( entry.path().string(), std::regex( pattern ) ) ) {
            found.push_back( entry.path() );
        }
    }
    return found;
}

/// Runs a program that starts and stops the packages, such as this one under any name.
void runProgram( const fs::path& program, const std::string& settings,
                 const std::string& arguments = "", const char* output = "> /dev/null" ) {
    const std::string command =
        settings + " '" + program.string() + "' --gtest_list_tests " + arguments + " " + output;
    EXPECT_EQ( std::system( command.c_str() ), 0 ) << command;
}

fs::path getThisProgram() {
    return fs::read_symlink( "/proc/self/exe" );
}

/// A pipe's end in the place of the standard output, and the other end.
int makeStandardOutputAPipe() {
    int ends[2];
    EXPECT_EQ( ::pipe( ends ), 0 );
    ::dup2( ends[1], STDOUT_FILENO );
    ::close( ends[1] );
    return ends[0];
}

/// Makes a pipe with a name, and opens the end that is read.
int openPipe( const fs::path& path ) {
    EXPECT_EQ( ::mkfifo( path.c_str(), 0600 ), 0 );
    return ::open( path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC );
}

bool isLocked( const fs::path& path ) {
    const int file = ::open( path.c_str(), O_RDONLY | O_CLOEXEC );
    const bool isFree = ::flock( file, LOCK_EX | LOCK_NB ) == 0;
    ::close( file );
    return !isFree;
}

} // namespace

TEST( LgSurroundingsTest, AProgramWithoutAStandardOutputHasAFileForIt ) {
    const TempDirectory directory;
    runProgram( getThisProgram(),
                "QV_LOG_DUMP_SETUP=1 QV_LOG_SUPPORT_INFO=% QV_LOG_UNSPECIFIED= QV_LOG_DIR=" +
                    directory.path().string(),
                "", ">&-" );
    std::string texts;
    for( const char* const end : { "_stdout.log", "_trace.log", "[0-9].log" } ) {
        const auto files = findFiles( directory.path(), std::string( ".*" ) + end );
        ASSERT_EQ( files.size(), 1U ) << end;
        EXPECT_EQ( fs::status( files[0] ).permissions(),
                   fs::perms::owner_read | fs::perms::owner_write );
        texts += readFile( files[0] );
    }
    // What is echoed is in one file alone, with all that goes where.
    EXPECT_THAT(
        texts, testing::ContainsRegex( "^[^\n]*Logger setup:\n(.*\n)*             Warning: "
                                       "[^ \n]*[0-9]\\.log \n(.*\n)*             Support: stdout, "
                                       "\n(.*\n)*             Tracing: [^ \n]*_trace\\.log \n" ) );
}

TEST( LgSurroundingsTest, AllFilesOfARunningProgramAreLocked ) {
    const auto run = [] {
        ::close( STDOUT_FILENO );
        const LoggerRun::Variables variables{ { "QV_LOG_UNSPECIFIED", "" } };
        const LoggerRun logger( variables );
        const auto files = findFiles( LgLog::getLogPath().toString(),
                                      ".*_" + std::to_string( ::getpid() ) + "(|_.*)\\.log" );
        const bool areLocked = files.size() == 3 && std::ranges::all_of( files, isLocked );
        std::ranges::for_each( files, []( const fs::path& file ) { fs::remove( file ); } );
        return areLocked ? 0 : 1;
    };
    EXPECT_EXIT( ::_exit( run() ), testing::ExitedWithCode( 0 ), "^$" );
}

TEST( LgSurroundingsTest, AStandardOutputWhoseReaderHasGoneEndsNothingAndIsReportedOnce ) {
    const auto run = [] {
        ::close( makeStandardOutputAPipe() );
        ::signal( SIGPIPE, SIG_DFL );
        const TempDirectory directory;
        const fs::path file = directory.path() / "out.txt";
        LoggerRun::stop();
        LgLog::outputDirectly( LgTypes::Warning, "before the start" );
        ::setenv( "QV_LOG_WARNING", ( "%" + file.string() ).c_str(), 1 );
        LoggerRun::start();
        LgLog::outputDirectly( LgTypes::Warning, "filed" );
        LgLog::outputDirectly( LgTypes::Warning, "filed" );
        return readFile( file ).ends_with( " filed\n" ) ? 0 : 1;
    };
    EXPECT_EXIT( ::_exit( run() ), testing::ExitedWithCode( 0 ),
                 "^The log can't be echoed: [^\n]*Broken pipe[^\n]*\n$" );
}

TEST( LgSurroundingsTest, AnOutputThatStallsCostsOneWaitAndWhatItCostsIsCounted ) {
    using std::chrono::steady_clock;
    constexpr std::uint64_t NB_LINES = 100;
    const TempDirectory directory;
    const std::string line( 200'000, 'x' );
    const fs::path pipe = directory.path() / "pipe";
    const fs::path other = directory.path() / "other";
    const int reader = openPipe( pipe );
    const int otherReader = openPipe( other );
    const LoggerRun run( { { "QV_LOG_UNSPECIFIED", "--" }, { "QV_LOG_WARNING", pipe.string() } } );
    const auto before = LgLog::getCounters();
    testing::internal::CaptureStderr();
    LgFile otherFile( other.string(), LgFileBuffer::CHOSEN_NAME, nullptr );
    TestThread otherWriter( [&] { otherFile << line << std::flush; } );
    otherWriter.waitUntilBlocked();
    // Who reads for all threads waits without a limit.
    LgLog::setLoggerActivation( true );
    TestThread writer( [&] { LgLog::outputEntry( LgTypes::Warning, "", line.c_str() ); } );
    writer.waitUntilBlocked();
    const auto begin = steady_clock::now();
    for( std::uint64_t i = 0; i < NB_LINES; ++i ) {
        LgLog::outputEntry( LgTypes::Warning, "", "a line\n" );
    }
    EXPECT_LT( steady_clock::now() - begin, std::chrono::seconds( 60 ) );
    EXPECT_EQ( LgLog::getCounters().lost, before.lost + NB_LINES );
    // Other threads don't wait so long.
    otherWriter.join();
    EXPECT_EQ( LgLog::getCounters().failed, before.failed + 1 );
    EXPECT_FALSE( writer.isDone() );
    LgLog::setLoggerActivation( false );
    ::close( reader );
    writer.join();
    ::close( otherReader );
    EXPECT_THAT( testing::internal::GetCapturedStderr(), HasSubstr( "timed out" ) );
}

TEST( LgSurroundingsTest, WhatAFailureCostIsCountedAtTheLatestAtTheStop ) {
    const TempDirectory directory;
    const fs::path file = directory.path() / "out.txt";
    const fs::path json = directory.path() / "out.json";
    const auto run = std::make_unique<LoggerRun>(
        LoggerRun::Variables{ { "QV_LOG_UNSPECIFIED", "--" },
                              { "QV_LOG_WARNING", "+" + file.string() },
                              { "QV_LOG_JSON", json.string() } } );
    testing::internal::CaptureStderr();
    {
        // Each file's first line; the calls between are the reports.
        const CallHook full( "write",
                             []( SystemCall& call ) { return call.number % 2 == 1 ? ENOSPC : 0; } );
        LgLog::outputEntry( LgTypes::Warning, "", "a line\n" );
        LgLog::outputEntry( LgTypes::Warning, "", "a line\n" );
    }
    LoggerRun::stop();
    LoggerRun::start();
    EXPECT_THAT( testing::internal::GetCapturedStderr(), HasSubstr( "No space left on device" ) );
    EXPECT_THAT( readFile( file ),
                 HasSubstr( "\nLines lost [2]: No space left on device\n\nLogger stopped on " ) );
    EXPECT_THAT( readFile( json ), HasSubstr( "\"lostLines\":2," ) );
}

TEST( LgSurroundingsTest, AFileThatCannotBeOpenedIsReported ) {
    const TempDirectory directory;
    const std::string file = ( directory.path() / "none" / "out" ).string();
    testing::internal::CaptureStderr();
    {
        const LoggerRun run( { { "QV_LOG_UNSPECIFIED", "--" },
                               { "QV_LOG_WARNING", file },
                               { "QV_LOG_JSON", file + ".json" } } );
        LgLog::outputEntry( LgTypes::Warning, "", "a line\n" );
        EXPECT_TRUE( LgLog::isLevelFiled( LgTypes::Warning ) );
        EXPECT_FALSE( LgLog::getLevelOutput( LgTypes::Warning )->good() );
    }
    EXPECT_EQ( testing::internal::GetCapturedStderr(),
               "The log file '" + file + "' can't be opened: No such file or directory.\n" +
                   "The log file '" + file +
                   ".json' can't be opened: No such file or directory.\n" );
}

TEST( LgSurroundingsTest, AnArgumentNamesTheFolderBeforeTheEnvironmentDoes ) {
    const TempDirectory directory;
    const auto path = [&]( const char* name ) { return ( directory.path() / name ).string(); };
    const std::string environment = "QV_LOG_UNSPECIFIED= QV_LOG_DIR=" + path( "environment" );
    runProgram( getThisProgram(), environment, "l:" + path( "short" ) + " log:" + path( "long" ) );
    EXPECT_EQ( findFiles( directory.path(), ".*log" ).size(), 1U );
    EXPECT_EQ( findFiles( path( "long" ), ".*log" ).size(), 1U );
    runProgram( getThisProgram(), environment, "l:" + path( "short" ) );
    EXPECT_EQ( findFiles( path( "short" ), ".*log" ).size(), 1U );
    runProgram( getThisProgram(), environment );
    EXPECT_EQ( findFiles( path( "environment" ), ".*log" ).size(), 1U );
}

TEST( LgSurroundingsTest, AProgramWithTheLongestNameHasAFile ) {
    const TempDirectory directory;
    const fs::path program = getThisProgram().parent_path() / std::string( 255, 'p' );
    fs::remove( program );
    fs::create_hard_link( getThisProgram(), program );
    runProgram( program, "QV_LOG_UNSPECIFIED= QV_LOG_DIR=" + directory.path().string() );
    fs::remove( program );
    const auto files = findFiles( directory.path(), ".*log" );
    ASSERT_EQ( files.size(), 1U );
    EXPECT_THAT( files[0].filename().string(),
                 testing::StartsWith( std::string( 200, 'p' ) + "_2" ) );
}

TEST( LgSurroundingsTest, TheSetupAndTheClockAreInTheFileWhereTheyAreWanted ) {
    const TempDirectory directory;
    const fs::path file = directory.path() / "out.txt";
    const std::string settings = "QV_LOG_SUPPORT_INFO=" + file.string();
    runProgram( getThisProgram(), settings );
    EXPECT_THAT( readFile( file ),
                 AllOf( Not( HasSubstr( "setup" ) ), Not( HasSubstr( "frequency" ) ) ) );
    runProgram( getThisProgram(),
                "QV_LOG_DUMP_SETUP=1 QV_LOG_ENABLE_TIMESTAMPS=1 QV_LOG_WARNING=-- " + settings );
    EXPECT_THAT(
        readFile( file ),
        testing::ContainsRegex(
            "^Logger started on [^\n]*\n"
            "\\(Clock frequency = [1-9][0-9]*\\.000000000000\\)\n"
            "[0-9]{10} [0-9]{10} 00:00:0[0-9.]* \\[Support       \\] \\[Logger         \\] "
            "Logger setup:\nOutput:\n      Internal Error: Disabled\n" ) );
    EXPECT_THAT( readFile( file ), AllOf( HasSubstr( "\n             Support: " + file.string() +
                                                     " \n       Informational: " ),
                                          HasSubstr( "\nOptions:\n   Time\n   Time stamps\n" ),
                                          HasSubstr( "\n   No Blocking trace\n" ) ) );
}

} // namespace Qv
