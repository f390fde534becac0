#pragma once

#include <base/failure/assertions.h>
#include <base/locks/lkLock.h>
#include <base/locks/lkPause.h>
#include <resmgt/locks/src/lkSpin.h>

namespace Qv {

/// Gives a lock up for a scope, whatever the depth of the caller's guards; holds it again at scope
/// exit. The guards keep their answers and end as if nothing had been: the lock itself has no
/// depth.
class LkLockRelease {
public:
    /// REQUIRES: the caller holds `lock`.
    explicit LkLockRelease( const LkLock& lock ) noexcept
        : _imp( lock.getImp() ) {
        _imp.unlock();
    }
    LkLockRelease( const LkLockRelease& ) = delete;
    LkLockRelease& operator=( const LkLockRelease& ) = delete;
    ~LkLockRelease() {
        // A signaller mostly holds the lock for a few instructions more. Looking closely meets its
        // unlock sooner than the lock's own growing pauses, which are made for rivals.
        for( int left = lkSpinLimit( 0 ); left > 0 && _imp.getHolder() != 0; --left ) {
            lkPause();
        }
        static_cast<void>( _imp.lock() );
    }

    /// Asserts that the caller holds `lock`; before it queues itself.
    static void check( const LkLock& lock ) {
        QV_ASSERT_TEXT( lock.getImp().getHolder() == ThreadNumber::get(),
                        "lock.isLockedByThread()" );
    }

private:
    const LkLockPlatform& _imp;
};

} // namespace Qv
