#include <pluginAPI/piAppThread.h>

#include <base/failure/assertions.h>
#include <base/init/inSingletonEx.h>

#include <atomic>

namespace Qv {

namespace {

// Written by the main thread. Release and acquire: who sees the object sees it complete.
constinit std::atomic<PiAppThread*> installedAppThread = nullptr;

} // namespace

PiAppThread::PiAppThread() {
    _threadId.setCurrentThread();
}

PiAppThread::~PiAppThread() = default;

bool PiAppThread::isCurrent() noexcept {
    const PiAppThread* const appThread = installedAppThread.load( std::memory_order_acquire );
    return appThread != nullptr && appThread->_threadId.isCurrentThread();
}

void PiAppThread::initialize( OPtr<PiAppThread> appThread ) {
    QV_ASSERT( !appThread.isNull() );
    PiAppThread* none = nullptr;
    if( !installedAppThread.compare_exchange_strong(
            none, appThread.get(), std::memory_order_release, std::memory_order_relaxed ) ) {
        throw InSingletonEx::ExAlreadyInitialized( QV_HERE, "PiAppThread" );
    }
    static_cast<void>( appThread.release() );
}

void PiAppThread::finalize() {
    const OPtr<PiAppThread> former(
        installedAppThread.exchange( nullptr, std::memory_order_acq_rel ) );
}

} // namespace Qv
