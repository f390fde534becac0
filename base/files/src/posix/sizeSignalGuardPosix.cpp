#include <base/files/sizeSignalGuardPosix.h>

#include <cerrno>
#include <csignal>
#include <ctime>

#include <sys/resource.h>

namespace Qv {

namespace {

constinit thread_local bool isKeptBlocked = false;

sigset_t sizeSignal() noexcept {
    sigset_t signals;
    ::sigemptyset( &signals );
    ::sigaddset( &signals, SIGXFSZ );
    return signals;
}

/// 0, a limit, where a sandbox refuses the question.
rlim_t getSizeLimit() noexcept {
    const int error = errno;
    struct rlimit limit {};
    ::getrlimit( RLIMIT_FSIZE, &limit );
    errno = error;
    return limit.rlim_cur;
}

} // namespace

// No call here can fail with these arguments.
SizeSignalGuard::SizeSignalGuard() noexcept {
    _isLimited = !isKeptBlocked && getSizeLimit() != RLIM_INFINITY;
    if( _isLimited ) {
        const sigset_t signal = sizeSignal();
        sigset_t present;
        ::pthread_sigmask( SIG_BLOCK, &signal, &present );
        _wasBlocked = ::sigismember( &present, SIGXFSZ ) == 1;
        ::sigpending( &present );
        _wasPending = ::sigismember( &present, SIGXFSZ ) == 1;
    }
}

SizeSignalGuard::~SizeSignalGuard() {
    if( !_isLimited ) {
        return;
    }
    const int error = errno;
    const sigset_t signal = sizeSignal();
    if( !_wasPending ) {
        const struct timespec noTime {};
        while( ::sigtimedwait( &signal, nullptr, &noTime ) < 0 && errno == EINTR ) {}
    }
    if( !_wasBlocked ) {
        ::pthread_sigmask( SIG_UNBLOCK, &signal, nullptr );
    }
    errno = error;
}

void SizeSignalGuard::keepBlocked() noexcept {
    isKeptBlocked = true;
}

} // namespace Qv
