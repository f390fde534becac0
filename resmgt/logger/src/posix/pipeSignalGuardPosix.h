#pragma once

#include <cerrno>
#include <csignal>
#include <ctime>

namespace Qv {

/// While it lives, a write of this thread to a pipe without a reader fails with EPIPE, and no
/// SIGPIPE ends the process. errno stays as it is.
class PipeSignalGuard {
public:
    PipeSignalGuard() noexcept {
        ::sigemptyset( &_signal );
        ::sigaddset( &_signal, SIGPIPE );
        sigset_t present;
        ::pthread_sigmask( SIG_BLOCK, &_signal, &present );
        _wasBlocked = ::sigismember( &present, SIGPIPE ) == 1;
        ::sigpending( &present );
        _wasPending = ::sigismember( &present, SIGPIPE ) == 1;
    }
    PipeSignalGuard( const PipeSignalGuard& ) = delete;
    PipeSignalGuard& operator=( const PipeSignalGuard& ) = delete;
    ~PipeSignalGuard() {
        const int error = errno;
        const struct timespec noTime {};
        if( !_wasPending ) {
            while( ::sigtimedwait( &_signal, nullptr, &noTime ) < 0 && errno == EINTR ) {}
        }
        if( !_wasBlocked ) {
            ::pthread_sigmask( SIG_UNBLOCK, &_signal, nullptr );
        }
        errno = error;
    }

private:
    sigset_t _signal;
    /// Before this one.
    bool _wasBlocked;
    bool _wasPending;
};

} // namespace Qv
