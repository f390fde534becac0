#include <resmgt/locks/lkSema.h>

#include <base/locks/lkGuard.h>
#include <resmgt/locks/src/lkWaiterCount.h>

#include <limits>

namespace Qv {

namespace {

constexpr double NO_LIMIT = std::numeric_limits<double>::infinity();

} // namespace

void LkSema::post() {
    const LkGuard<const LkLock> guard( _lock );
    ++_count;
    if( _count != 0 && _nbWaiters != 0 ) {
        _nonZero.signal();
    }
}

void LkSema::wait() {
    static_cast<void>( timedWait( NO_LIMIT ) );
}

bool LkSema::timedWait( double seconds ) {
    const LkGuard<const LkLock> guard( _lock );
    while( isCountNonZero() ) {
        if( !waitOnce( seconds ) ) {
            // The signal of a post may have come too late for this waiter, and is another's now.
            if( _count != 0 && _nbWaiters != 0 ) {
                _nonZero.signal();
            }
            return false;
        }
    }
    --_count;
    return true;
}

bool LkSema::waitOnce( double seconds ) {
    const LkWaiterCount counted( _nbWaiters );
    return _nonZero.timedWait( _lock, seconds );
}

bool LkSema::tryWait() {
    const LkGuard<const LkLock> guard( _lock );
    if( isCountNonZero() ) {
        return false;
    }
    --_count;
    return true;
}

} // namespace Qv
