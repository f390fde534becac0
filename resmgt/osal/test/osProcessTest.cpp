#include <resmgt/osal/osEnv.h>
#include <resmgt/osal/osProcess.h>
#include <resmgt/osal/test/testFiles.h>
#include <tests/support/deadline.h>
#include <tests/support/processCounts.h>

#include <csignal>
#include <fcntl.h>
#include <sys/wait.h>

namespace Qv {
namespace {

using enum OsProcess::StartModes;
using ::testing::internal::CaptureStderr;
using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStderr;
using ::testing::internal::GetCapturedStdout;

/// In `script` "$1" is `argument`.
void startShell( OsProcess& process, const std::string& script,
                 OsProcess::StartModes mode = ATTACHED, const std::string& argument = "" ) {
    const char* const argv[] = { "/bin/sh",        "-c",   script.c_str(), "script",
                                 argument.c_str(), nullptr };
    process.start( argv, mode );
}

OsProcess::ExitState runShell( const std::string& script, OsProcess::StartModes mode = ATTACHED ) {
    OsProcess process;
    startShell( process, script, mode );
    return process.wait();
}

bool hasChildren() {
    siginfo_t info{};
    return ::waitid( P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT ) == 0;
}

TEST( OsProcessTest, WaitTellsHowTheChildEndedAsOftenAsItIsAsked ) {
    const std::tuple<const char*, int, int> cases[] = { { "exit 0", 0, 0 },
                                                        { "exit 255", 255, 0 },
                                                        { "kill -KILL $$", 0, SIGKILL },
                                                        { "kill -TERM $$", 0, SIGTERM } };
    for( const auto& [script, status, signal] : cases ) {
        OsProcess process;
        startShell( process, script );
        const CallHook storm(
            "waitpid", []( const SystemCall& call ) { return call.number <= 3 ? EINTR : 0; } );
        for( int round = 0; round < 2; ++round ) {
            const OsProcess::ExitState end = process.wait();
            EXPECT_EQ( end.status, status ) << script;
            EXPECT_EQ( end.signal, signal ) << script;
            EXPECT_EQ( end.isSuccess(), status == 0 && signal == 0 ) << script;
        }
        EXPECT_THROW( startShell( process, "exit 0" ), ExAssertionFailed );
    }
    OsProcess lost;
    startShell( lost, "exit 0" );
    EXPECT_GT( ::waitpid( -1, nullptr, 0 ), 0 );
    // Its number may be another's from the first answer on.
    const CallHook questions( "waitpid", []( const SystemCall& ) { return 0; } );
    for( int round = 0; round < 2; ++round ) {
        EXPECT_EQ( raisedBy<Sys>( [&] { lost.wait(); } ),
                   "OsProcess::wait: No child processes (error 10)" );
    }
    EXPECT_EQ( questions.nbCalls(), 1 );
    EXPECT_FALSE( hasChildren() );
}

TEST( OsProcessTest, ChildGetsArgumentsAndEnvironmentAndIsFoundInThePath ) {
    const TestFiles files;
    files.write( "program", "#!/bin/sh\nprintf '%s\\n' \"$QV_TEST_VARIABLE\" \"$@\" > \"$1\"\n" );
    fs::permissions( files.at( "program" ), fs::perms::owner_all );
    const std::string output = files.at( "out put" );
    const OsEnv::VariableGuard path( "PATH", files.at( "" ), OsEnv::VariableGuard::PREPEND );
    const OsEnv::VariableGuard variable( "QV_TEST_VARIABLE", "a b\xFF", OsEnv::VariableGuard::SET );
    const char* const argv[] = { "program", output.c_str(), "", "'*' $x", nullptr };
    OsProcess process;
    process.start( argv, ATTACHED );
    EXPECT_TRUE( process.wait().isSuccess() );
    EXPECT_EQ( files.read( "out put" ), "a b\xFF\n" + output + "\n\n'*' $x\n" );
}

TEST( OsProcessTest, ChildHasItsStandardStreamsAlone ) {
    const std::string hasNoOther = "for f in /proc/$$/fd/*; do case ${f##*/} in [012]) ;; "
                                   "*) test ! -e $f || exit 1;; esac; done; ";
    // What another library opened without marking it.
    const int foreign = ::open( "/", O_RDONLY );
    ASSERT_EQ( ::dup2( foreign, 200 ), 200 );
    CaptureStdout();
    CaptureStderr();
    EXPECT_EQ( runShell( hasNoOther + "echo out; echo err >&2" ).status, 0 );
    EXPECT_EQ( GetCapturedStderr(), "err\n" );
    EXPECT_EQ( GetCapturedStdout(), "out\n" );

    const std::string isInSession = "read pid name state parent group session rest < "
                                    "/proc/$$/stat; test $session = $$ || exit 1; ";
    const std::string isMute = "for i in 0 1 2; do test /proc/$$/fd/$i -ef /dev/null || exit 2; "
                               "done; ";
    EXPECT_EQ( runShell( hasNoOther + isInSession + isMute, DETACHED ).status, 0 );
    EXPECT_EQ( runShell( isInSession ).status, 1 );
    ::close( foreign );
    ::close( 200 );

    // A closed stream, and a file of ours that got its number.
    const int input = ::fcntl( STDIN_FILENO, F_DUPFD_CLOEXEC, 3 );
    ::close( STDIN_FILENO );
    const std::string hasNullInput = hasNoOther + "test /proc/$$/fd/0 -ef /dev/null || exit 2";
    EXPECT_EQ( runShell( hasNullInput ).status, 0 );
    EXPECT_EQ( ::open( "/", O_RDONLY | O_CLOEXEC ), STDIN_FILENO );
    EXPECT_EQ( runShell( hasNullInput ).status, 0 );
    ::dup2( input, STDIN_FILENO );
    ::close( input );
}

TEST( OsProcessTest, SignalsThatAreBlockedOrIgnoredHereEndTheChild ) {
    sigset_t all;
    sigset_t former;
    ::sigfillset( &all );
    ::pthread_sigmask( SIG_BLOCK, &all, &former );
    EXPECT_EQ( runShell( "kill -TERM $$; exit 0" ).signal, SIGTERM );
    ::pthread_sigmask( SIG_SETMASK, &former, nullptr );
    void ( *const handler )( int ) = std::signal( SIGPIPE, SIG_IGN );
    EXPECT_EQ( runShell( "kill -PIPE $$; exit 0" ).signal, SIGPIPE );
    std::signal( SIGPIPE, handler );
}

TEST( OsProcessTest, ProgramThatCannotBeStartedIsToldWithTheReasonAndLeavesNothing ) {
    const TestFiles files( "text broken=none" );
    fs::permissions( files.at( "broken" ), fs::perms::owner_all );
    const std::pair<std::string, int> cases[] = { { files.at( "absent" ), ENOENT },
                                                  { "qv-no-such-program", ENOENT },
                                                  { "", ENOENT },
                                                  { files.at( "" ), EACCES },
                                                  { files.at( "text" ), EACCES },
                                                  { files.at( "text/below" ), ENOTDIR },
                                                  { files.at( "broken" ), ENOEXEC },
                                                  { std::string( 300, 'x' ), ENAMETOOLONG } };
    // A directory in it that may not be searched would be the reason.
    const OsEnv::VariableGuard path( "PATH", files.at( "" ), OsEnv::VariableGuard::SET );
    const int nbDescriptors = countDescriptors();
    OsProcess process;
    for( const auto& [program, error] : cases ) {
        const char* const argv[] = { program.c_str(), nullptr };
        EXPECT_THAT( raisedBy<Sys>( [&] { process.start( argv, ATTACHED ); } ),
                     tells( "OsProcess::start '" + program + "': " + std::strerror( error ) ) );
        EXPECT_THROW( process.wait(), ExAssertionFailed );
    }
    EXPECT_EQ( countDescriptors(), nbDescriptors );
    EXPECT_FALSE( hasChildren() );
    const char* const nothing[] = { nullptr };
    EXPECT_THROW( process.start( nothing, ATTACHED ), ExAssertionFailed );
    EXPECT_THROW( process.start( nullptr, ATTACHED ), ExAssertionFailed );
    startShell( process, "exit 5" );
    EXPECT_EQ( process.wait().status, 5 );
}

TEST( OsProcessTest, ChildThatIsLeftAloneGoesOnAndIsCleanedUpAfterItsEnd ) {
    const TestFiles files( "fifo|" );
    {
        OsProcess process;
        startShell( process, "read line < \"$1\"; echo $line > \"$1.out\"", ATTACHED,
                    files.at( "fifo" ) );
    }
    EXPECT_TRUE( hasChildren() );
    // Opens when the child does.
    files.write( "fifo", "still there\n" );
    waitUntil(
        [] {
            OsProcess();
            return !hasChildren();
        },
        "the left child's last trace" );
    EXPECT_EQ( files.read( "fifo.out" ), "still there\n" );
}

} // namespace
} // namespace Qv
