#include <base/files/newDescriptorPosix.h>
#include <base/files/sizeSignalGuardPosix.h>
#include <tests/support/deniedCall.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Qv {

namespace {

/// In a process without standard input.
int moveOffTheStream() {
    ::close( STDIN_FILENO );
    const int file = ::open( "/dev/null", O_RDONLY );
    const int moved = keepOffStreams( file );
    const bool isMoved = file == STDIN_FILENO && moved > STDERR_FILENO &&
                         ::fcntl( moved, F_GETFD ) == FD_CLOEXEC &&
                         ::fcntl( STDIN_FILENO, F_GETFD ) < 0;
    const struct rlimit none { STDERR_FILENO + 1, STDERR_FILENO + 1 };
    ::setrlimit( RLIMIT_NOFILE, &none );
    const int failed = keepOffStreams( ::open( "/dev/null", O_RDONLY ) );
    const bool isClosed = failed == -1 && errno == EINVAL && ::fcntl( STDIN_FILENO, F_GETFD ) < 0;
    return ( isMoved ? 0 : 1 ) + ( isClosed ? 0 : 2 );
}

sigset_t sizeSignal() {
    sigset_t signals;
    ::sigemptyset( &signals );
    ::sigaddset( &signals, SIGXFSZ );
    return signals;
}

bool isPending() {
    sigset_t pending;
    ::sigpending( &pending );
    return ::sigismember( &pending, SIGXFSZ ) == 1;
}

/// Writes to a file that has no room left by the process's limit.
int writeBeyondTheLimit( int file ) {
    const SizeSignalGuard guard;
    return ::write( file, "x", 1 ) == -1 && errno == EFBIG ? 0 : 1;
}

int workBeyondTheLimit() {
    const int file = ::open( "/tmp", O_TMPFILE | O_RDWR, 0600 );
    const struct rlimit none { 0, RLIM_INFINITY };
    ::setrlimit( RLIMIT_FSIZE, &none );
    std::signal( SIGXFSZ, SIG_DFL );
    int status = writeBeyondTheLimit( file ) + ( isPending() ? 2 : 0 );
    const sigset_t signal = sizeSignal();
    ::pthread_sigmask( SIG_BLOCK, &signal, nullptr );
    status += writeBeyondTheLimit( file ) + ( isPending() ? 4 : 0 );
    // What came before the guard stays, blocked as it was.
    ::raise( SIGXFSZ );
    status += writeBeyondTheLimit( file ) + ( isPending() ? 0 : 8 );
    // Where the limit can't be asked for there may be one.
    denyCall( SYS_getrlimit, EPERM );
    errno = ENOENT;
    const SizeSignalGuard guard;
    status += ( errno == ENOENT ? 0 : 16 ) + writeBeyondTheLimit( file );
    // A call of the system would show as a refusal that isn't looked at; the signal stays blocked.
    SizeSignalGuard::keepBlocked();
    return status + writeBeyondTheLimit( file ) + ( isPending() ? 0 : 32 );
}

} // namespace

TEST( NewDescriptorTest, IsMovedOffTheNumberOfAClosedStream ) {
    EXPECT_EXIT( ::_exit( moveOffTheStream() ), testing::ExitedWithCode( 0 ), "" );
    EXPECT_EQ( keepOffStreams( 7 ), 7 );
    errno = ENOENT;
    EXPECT_EQ( keepOffStreams( -1 ), -1 );
    EXPECT_EQ( errno, ENOENT );
}

TEST( SizeSignalGuardTest, KeepsTheSignalFromTheProcessAndLeavesNoTrace ) {
    EXPECT_EXIT( ::_exit( workBeyondTheLimit() ), testing::ExitedWithCode( 0 ), "" );
}

} // namespace Qv
