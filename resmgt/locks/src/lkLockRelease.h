#pragma once

#include <base/failure/assertions.h>
#include <base/locks/lkLock.h>

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
    ~LkLockRelease() { static_cast<void>( _imp.lock() ); }

    /// Asserts that the caller holds `lock`; before it queues itself.
    static void check( const LkLock& lock ) {
        QV_ASSERT_TEXT( lock.getImp().getHolder() == ThreadNumber::get(),
                        "lock.isLockedByThread()" );
    }

private:
    const LkLockPlatform& _imp;
};

} // namespace Qv
