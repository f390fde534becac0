#include <resmgt/threads/src/mtSignals.h>

#include <base/files/sizeSignalGuardPosix.h>

#include <csignal>

namespace Qv {

void MtSignals::blockAll() noexcept {
    sigset_t signals;
    ::sigfillset( &signals );
    static_cast<void>( ::pthread_sigmask( SIG_SETMASK, &signals, nullptr ) );
    SizeSignalGuard::keepBlocked();
}

} // namespace Qv
