#include <resmgt/fileLocks/osFileLock.h>
#include <tests/support/childProcess.h>
#include <tests/support/deadline.h>
#include <tests/support/scopedEnvironment.h>
#include <tests/support/tempDirectory.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>

namespace Qv {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;

using Outcome = ShellOutcome;

/// In the directory of the files, with `before` in front of the command.
Outcome run( const TempDirectory& files, const std::string& arguments,
             const std::string& before = "" ) {
    return runShell( "cd '" + files.path().string() + "' && " + before + " '" QVLOCK_PROGRAM "' " +
                     arguments + " 2>&1 </dev/null" );
}

TEST( QvlockTest, WrongCommandLinesAreSaidInOneSentence ) {
    const TempDirectory files;
    const std::pair<const char*, const char*> cases[] = {
        { "", "run or status is missing" },
        { "walk", "'walk' is neither run nor status" },
        { "status", "status takes one file" },
        { "status a b", "status takes one file" },
        { "status ''", "the name of a file is missing" },
        { "run a", "run takes a file, -- and a command" },
        { "run a --", "run takes a file, -- and a command" },
        { "run a true b", "run takes a file, -- and a command" },
        { "run --hurry a -- true", "there is no option '--hurry' of run" },
        { "run --wait -1 a -- true", "--wait takes seconds or forever, not '-1'" },
        { "run --wait=soon a -- true", "--wait takes seconds or forever, not 'soon'" } };
    for( const auto& [arguments, sentence] : cases ) {
        const Outcome outcome = run( files, arguments );
        EXPECT_EQ( outcome.status, 2 ) << arguments;
        EXPECT_EQ( outcome.text, std::string( "qvlock: " ) + sentence + "; try --help\n" );
    }
    EXPECT_THAT( run( files, "--help" ).text, HasSubstr( "Usage: qvlock run" ) );
    EXPECT_EQ( run( files, "--version" ).status, 0 );
}

TEST( QvlockTest, CommandRunsUnderTheLockAndItsStatusIsPassedOn ) {
    const TempDirectory files;
    EXPECT_EQ( run( files, "run a -- test -e .a.omlock" ).status, 0 );
    EXPECT_FALSE( fs::exists( files.path() / ".a.omlock" ) );
    EXPECT_EQ( run( files, "run a -- sh -c 'exit 7'" ).status, 7 );
    EXPECT_EQ( run( files, "run a -- sh -c 'kill -9 $$'" ).status, 128 + 9 );
    EXPECT_EQ( run( files, "run --wait 3 a -- echo --wait \"x y\"" ).text, "--wait x y\n" );
    const Outcome missing = run( files, "run a -- ./missing" );
    EXPECT_EQ( missing.status, 127 );
    EXPECT_EQ( missing.text, "qvlock: can't run './missing': No such file or directory\n" );
    EXPECT_EQ(
        run( files, "run a -- sh -c 'echo $QV_LOG_UNSPECIFIED'", "unset QV_LOG_UNSPECIFIED;" ).text,
        "\n" );
    EXPECT_EQ( run( files, "run a -- /" ).status, 126 );
    const Outcome nowhere = run( files, "run no/a -- true" );
    EXPECT_EQ( nowhere.status, 1 );
    EXPECT_THAT( nowhere.text, HasSubstr( "no lock file can be written there" ) );
    EXPECT_TRUE( fs::is_empty( files.path() ) );
}

TEST( QvlockTest, LifeOfLessThanTwoRefreshesIsLoggedAsAWarning ) {
    const TempDirectory files;
    for( const auto& [life, isShort] : { std::pair( 29, true ), { 30, false } } ) {
        const std::string settings =
            "QV_LOG_WARNING=% QV_MAXIMUM_LOCK_LIFE=" + std::to_string( life );
        const Outcome outcome = run( files, "run a -- true", settings );
        EXPECT_EQ( outcome.text.find( "let them live at least twice" ) != std::string::npos,
                   isShort )
            << outcome.text;
    }
}

TEST( QvlockTest, StatusNamesTheHolderAndChangesNothing ) {
    const TempDirectory files;
    EXPECT_THAT( run( files, "status a" ).text, MatchesRegex( "file: /.*/a\nstate: free\n" ) );
    const OsFilePath path( ( files.path() / "a" ).string() );
    const OPtr<OsFileLock> lock( OsFileLock::lock( path ) );
    const Outcome held = run( files, "status a" );
    EXPECT_EQ( held.status, 0 );
    EXPECT_THAT( held.text,
                 MatchesRegex( "file: /.*/a\nstate: alive\nuser: [^\n]+\nhost: [^\n]+\nprocess: "
                               "Tessaroc Ombra Library\nbuild: [^\n]+\nsince: "
                               "....-..-.. ..:..:..\nrefreshed: [0-9.]+ s ago\n" ) );
    const Outcome refused = run( files, "run --wait 0.1 a -- echo never" );
    EXPECT_EQ( refused.status, 1 );
    EXPECT_THAT( refused.text, MatchesRegex( "qvlock: '.*/a' is locked by [^ ]+ on [^ ]+ since "
                                             "....-..-.. ..:..:..\n" ) );
    // Anybody may have written it, and long ago.
    std::ofstream( files.path() / ".b.omlock" )
        << "<OmLock user=\"&lt;\x1b[2J&amp;quot;&gt;\" host=\"h\"/>";
    const std::timespec times[] = { { 1000, 0 }, { 1000, 0 } };
    EXPECT_EQ( ::utimensat( AT_FDCWD, ( files.path() / ".b.omlock" ).c_str(), times, 0 ), 0 );
    EXPECT_THAT(
        run( files, "status b" ).text,
        AllOf( HasSubstr( "state: dead\n" ), HasSubstr( "user: <?[2J&quot;>\nhost: h\n" ) ) );
    EXPECT_TRUE( fs::exists( files.path() / ".b.omlock" ) );
    EXPECT_TRUE( lock->verify() );
    // Planted, nobody's lock, and in the way of everybody's.
    fs::create_symlink( ".a.omlock", files.path() / ".c.omlock" );
    fs::create_directory( files.path() / ".d.omlock" );
    for( const char* const name : { "c", "d" } ) {
        const std::string file( name );
        EXPECT_THAT( run( files, "status " + file ).text,
                     MatchesRegex( "file: [^\n]+\nstate: blocked\n" ) );
        EXPECT_THAT( run( files, "run " + file + " -- echo never" ).text,
                     HasSubstr( "can't be locked: what isn't a regular file" ) );
    }
}

TEST( QvlockTest, SignalEndsTheWaitForTheLock ) {
    const TempDirectory files;
    const OPtr<OsFileLock> lock( OsFileLock::lock( ( files.path() / "a" ).string() ) );
    TestThread waiter( [&] {
        const Outcome outcome = run( files, "run --wait 30 a -- true", "echo $$ >pid; exec" );
        EXPECT_EQ( outcome.status, 128 + SIGTERM );
        EXPECT_EQ( outcome.text, "" );
    } );
    // Once it blocks the signal, which is there for it to find then.
    pid_t id = 0;
    const auto isBlocked = [&] {
        std::ifstream( files.path() / "pid" ) >> id;
        std::ifstream status( "/proc/" + std::to_string( id ) + "/status" );
        std::string word;
        while( word != "SigBlk:" && status >> word ) {}
        status >> word;
        return ( std::strtoull( word.c_str(), nullptr, 16 ) >> ( SIGTERM - 1 ) & 1 ) != 0;
    };
    waitUntil( isBlocked, "a waiting qvlock" );
    EXPECT_EQ( ::kill( id, SIGTERM ), 0 );
    waiter.join();
}

TEST( QvlockTest, CommandIsEndedWhenTheLockIsLostAndWithQvlock ) {
    const TempDirectory files;
    const fs::path ready = files.path() / "ready";
    const auto await = [&] {
        waitUntil( [&] { return fs::exists( ready ); }, "the command" );
        fs::remove( ready );
    };
    const ScopedEnvironment interval( "QV_TIME_BETWEEN_LOCK_REFRESHES", "1" );
    {
        TestThread lost( [&] {
            // One of its processes doesn't go by itself, and keeps the pipe open.
            const Outcome outcome =
                run( files,
                     "run a -- sh -c '( trap \"\" TERM; touch ready; sleep 1000 ) & sleep 1000'" );
            EXPECT_EQ( outcome.status, 1 );
            EXPECT_THAT( outcome.text, HasSubstr( "/a' is lost; the command is ended" ) );
        } );
        await();
        fs::remove( files.path() / ".a.omlock" );
        std::ofstream( files.path() / ".a.omlock" ) << "theirs";
    }
    EXPECT_TRUE( fs::exists( files.path() / ".a.omlock" ) );
    {
        // The command has ended before anybody could see that its lock was lost meanwhile.
        const ScopedEnvironment life( "QV_MAXIMUM_LOCK_LIFE", "1" );
        const Outcome outcome =
            run( files, "run c -- sh -c 'trap \"\" TERM; ( sleep 1.5; kill -CONT "
                        "$PPID ) & kill -STOP $PPID'" );
        EXPECT_EQ( outcome.status, 1 );
        EXPECT_THAT( outcome.text, HasSubstr( "/c' is lost" ) );
    }
    TestThread ended( [&] {
        const Outcome outcome =
            run( files, "run b -- sh -c 'touch ready; sleep 1000'", "echo $$ >pid; exec" );
        EXPECT_EQ( outcome.status, 128 + SIGTERM );
    } );
    await();
    pid_t id = 0;
    std::ifstream( files.path() / "pid" ) >> id;
    ASSERT_GT( id, 0 );
    EXPECT_EQ( ::kill( id, SIGTERM ), 0 );
    ended.join();
    EXPECT_FALSE( fs::exists( files.path() / ".b.omlock" ) );
}

} // namespace
} // namespace Qv
