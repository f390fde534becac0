#include <base/failure/assertions.h>
#include <base/failure/exSysError.h>
#include <resmgt/osal/osEnv.h>
#include <resmgt/osal/osProcess.h>
#include <resmgt/osal/test/failingCalls.h>
#include <tests/support/deadline.h>
#include <tests/support/processCounts.h>
#include <tests/support/tempDirectory.h>

#include <gmock/gmock.h>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace Qv {
namespace {

using ::testing::HasSubstr;
using enum OsProcess::StartModes;

/// Starts the shell on `script`, in which "$1" is `argument`.
void startShell( OsProcess& process, const std::string& script, OsProcess::StartModes mode,
                 const std::string& argument = std::string() ) {
    const char* const argv[] = { "/bin/sh",        "-c",   script.c_str(), "script",
                                 argument.c_str(), nullptr };
    process.start( argv, mode );
}

OsProcess::ExitState runShell( const std::string& script, OsProcess::StartModes mode = ATTACHED,
                               const std::string& argument = std::string() ) {
    OsProcess process;
    startShell( process, script, mode, argument );
    return process.wait();
}

bool hasChildren() {
    siginfo_t info{};
    return ::waitid( P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT ) == 0;
}

/// A standard stream that isn't what it was until scope exit; none of this may print meanwhile.
class ChangedStream {
public:
    /// Closes it, and puts `file` there if that isn't null, to be closed in every child.
    ChangedStream( int stream, const char* file )
        : _stream( stream )
        , _former( ::fcntl( stream, F_DUPFD_CLOEXEC, 3 ) ) {
        ::close( stream );
        if( file != nullptr ) {
            const int descriptor = ::open( file, O_RDONLY | O_CLOEXEC );
            if( descriptor != stream ) {
                ::dup3( descriptor, stream, O_CLOEXEC );
                ::close( descriptor );
            }
        }
    }
    ~ChangedStream() {
        ::dup2( _former, _stream );
        ::close( _former );
    }

private:
    const int _stream;
    const int _former;
};

TEST( OsProcess, WaitTellsHowTheChildEndedAsOftenAsItIsAsked ) {
    struct Case {
        const char* script;
        int status;
        int signal;
    };
    const Case cases[] = { { "exit 0", 0, 0 },
                           { "exit 7", 7, 0 },
                           { "exit 255", 255, 0 },
                           { "kill -KILL $$", 0, SIGKILL },
                           { "kill -TERM $$", 0, SIGTERM } };
    for( const Case& row : cases ) {
        OsProcess process;
        startShell( process, row.script, ATTACHED );
        for( int round = 0; round < 2; ++round ) {
            const OsProcess::ExitState end = process.wait();
            EXPECT_EQ( end.status, row.status ) << row.script;
            EXPECT_EQ( end.signal, row.signal ) << row.script;
            EXPECT_EQ( end.isSuccess(), row.status == 0 && row.signal == 0 ) << row.script;
        }
        EXPECT_THROW( startShell( process, "exit 0", ATTACHED ), ExAssertionFailed );
    }
    EXPECT_FALSE( hasChildren() );
}

TEST( OsProcess, InterruptedWaitGoesOnAndALostEndIsTold ) {
    OsProcess process;
    startShell( process, "exit 3", ATTACHED );
    {
        const CallHook storm(
            "waitpid", []( const SystemCall& call ) { return call.number <= 5 ? EINTR : 0; } );
        EXPECT_EQ( process.wait().status, 3 );
        EXPECT_EQ( storm.nbCalls(), 6 );
    }
    OsProcess lost;
    startShell( lost, "exit 0", ATTACHED );
    EXPECT_EQ( ::waitpid( -1, nullptr, 0 ) > 0, true );
    for( int round = 0; round < 2; ++round ) {
        try {
            static_cast<void>( lost.wait() );
            ADD_FAILURE() << "somebody else took the end";
        } catch( const ExSysErrorWindows& ex ) {
            EXPECT_THAT( ex.getReason(), HasSubstr( "OsProcess::wait" ) );
        }
    }
}

TEST( OsProcess, ChildGetsArgumentsEnvironmentAndDirectoryAndIsFoundInThePath ) {
    const TempDirectory directory;
    std::ofstream( directory.path() / "program" )
        << "#!/bin/sh\nprintf '%s\\n' \"$QV_TEST_VARIABLE\" \"$@\" > \"$1\"\n";
    std::filesystem::permissions( directory.path() / "program", std::filesystem::perms::owner_all );
    const std::string output = directory.path() / "out put";
    {
        const OsEnv::VariableGuard path( "PATH", directory.path(), OsEnv::VariableGuard::PREPEND );
        const OsEnv::VariableGuard variable( "QV_TEST_VARIABLE", "a b\xFF",
                                             OsEnv::VariableGuard::SET );
        const char* const argv[] = { "program", output.c_str(), "", "'*' $x", nullptr };
        OsProcess process;
        process.start( argv, ATTACHED );
        EXPECT_TRUE( process.wait().isSuccess() );
    }
    std::ifstream file( output );
    const std::string text( std::istreambuf_iterator<char>( file ), {} );
    EXPECT_EQ( text, "a b\xFF\n" + output + "\n\n'*' $x\n" );
}

TEST( OsProcess, ChildHasItsStandardStreamsAlone ) {
    const TempDirectory directory;
    const std::string file = directory.path() / "file";
    std::ofstream( file ) << "x";
    // What another library opened without marking it.
    const int foreign = ::open( file.c_str(), O_RDONLY );
    ASSERT_EQ( ::dup2( foreign, 200 ), 200 );
    const std::string hasNoOther = "for f in /proc/$$/fd/*; do case ${f##*/} in [012]) ;; "
                                   "*) test ! -e $f || exit 1;; esac; done; ";
    EXPECT_EQ( runShell( hasNoOther ).status, 0 );
    EXPECT_EQ( runShell( hasNoOther, DETACHED ).status, 0 );
    ::close( foreign );
    ::close( 200 );

    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    EXPECT_EQ( runShell( "echo out; echo err >&2" ).status, 0 );
    EXPECT_EQ( ::testing::internal::GetCapturedStderr(), "err\n" );
    EXPECT_EQ( ::testing::internal::GetCapturedStdout(), "out\n" );

    const std::string inputIsNull = "test /proc/$$/fd/0 -ef /dev/null || exit 2; ";
    for( const char* const inPlace : { static_cast<const char*>( nullptr ), file.c_str() } ) {
        const ChangedStream input( STDIN_FILENO, inPlace );
        EXPECT_EQ( runShell( hasNoOther + inputIsNull ).status, 0 );
    }
}

TEST( OsProcess, DetachedChildHasASessionAndNoStreamOfOurs ) {
    const std::string isLeader = "read pid name state parent group session rest < /proc/$$/stat; "
                                 "test $session = $$ || exit 1; ";
    const std::string isMute = "for i in 0 1 2; do test /proc/$$/fd/$i -ef /dev/null || exit 2; "
                               "done; ";
    EXPECT_EQ( runShell( isLeader + isMute, DETACHED ).status, 0 );
    EXPECT_EQ( runShell( isLeader, ATTACHED ).status, 1 );
}

TEST( OsProcess, SignalsThatAreBlockedOrIgnoredHereEndTheChild ) {
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

TEST( OsProcess, ProgramThatCannotBeStartedIsToldWithTheReasonAndLeavesNothing ) {
    const TempDirectory directory;
    const std::string text = directory.path() / "text";
    std::ofstream( text ) << "no program\n";
    const std::string broken = directory.path() / "broken";
    std::ofstream( broken ) << "neither\n";
    std::filesystem::permissions( broken, std::filesystem::perms::owner_all );
    struct Case {
        std::string program;
        int error;
    };
    const Case cases[] = { { directory.path() / "absent", ENOENT },
                           { "qv-no-such-program", ENOENT },
                           { "", ENOENT },
                           { directory.path(), EACCES },
                           { text, EACCES },
                           { text + "/below", ENOTDIR },
                           { broken, ENOEXEC },
                           { std::string( 300, 'x' ), ENAMETOOLONG } };
    const int nbDescriptors = countDescriptors();
    OsProcess process;
    EXPECT_THROW( static_cast<void>( process.wait() ), ExAssertionFailed );
    for( const Case& row : cases ) {
        const char* const argv[] = { row.program.c_str(), nullptr };
        try {
            process.start( argv, ATTACHED );
            ADD_FAILURE() << row.program << " was started";
        } catch( const ExSysErrorWindows& ex ) {
            EXPECT_THAT( ex.getReason(), HasSubstr( "OsProcess::start" ) );
            EXPECT_THAT( ex.getReason(), HasSubstr( "'" + row.program + "'" ) );
            EXPECT_THAT( ex.getReason(),
                         HasSubstr( std::generic_category().message( row.error ) ) );
        }
        EXPECT_THROW( static_cast<void>( process.wait() ), ExAssertionFailed );
    }
    {
        const FailingCall noProcess( "posix_spawnp", EAGAIN );
        EXPECT_THROW( startShell( process, "exit 0", DETACHED ), ExSysErrorWindows );
    }
    EXPECT_EQ( countDescriptors(), nbDescriptors );
    EXPECT_FALSE( hasChildren() );
    const char* const nothing[] = { nullptr };
    EXPECT_THROW( process.start( nothing, ATTACHED ), ExAssertionFailed );
    EXPECT_THROW( process.start( nullptr, ATTACHED ), ExAssertionFailed );
    startShell( process, "exit 5", ATTACHED );
    EXPECT_EQ( process.wait().status, 5 );
}

TEST( OsProcess, ChildThatIsLeftAloneGoesOnAndIsCleanedUpAfterItsEnd ) {
    const TempDirectory directory;
    const std::string fifo = directory.path() / "fifo";
    ASSERT_EQ( ::mkfifo( fifo.c_str(), 0600 ), 0 );
    {
        OsProcess process;
        startShell( process, "read line < \"$1\"; echo $line > \"$1.out\"", ATTACHED, fifo );
    }
    EXPECT_TRUE( hasChildren() );
    // Opens when the child does.
    std::ofstream( fifo ) << "still there\n";
    waitUntil(
        [] {
            OsProcess();
            return !hasChildren();
        },
        "the left child's last trace" );
    std::ifstream file( fifo + ".out" );
    std::string line;
    std::getline( file, line );
    EXPECT_EQ( line, "still there" );
}

} // namespace
} // namespace Qv
