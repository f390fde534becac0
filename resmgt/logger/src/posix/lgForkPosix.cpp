#include <resmgt/logger/src/lgFork.h>

#include <resmgt/logger/lgLog.h>

#include <atomic>

#include <pthread.h>

namespace Qv {

namespace {

// Stored by the one thread that a child has.
constinit std::atomic<bool> isForked = false;

void noteFork() {
    isForked.store( true, std::memory_order_relaxed );
    LgLog::setLoggerActivation( false );
}

} // namespace

void LgFork::watch() noexcept {
    // Without memory for it, a child writes as its parent does.
    [[maybe_unused]] static const int result = ::pthread_atfork( nullptr, nullptr, noteFork );
}

bool LgFork::isChild() noexcept {
    return isForked.load( std::memory_order_relaxed );
}

} // namespace Qv
