#pragma once

#include <base/locks/lkLock.h>
#include <resmgt/locks/lkSList.h>
#include <resmgt/resmgtApi.h>

namespace Qv {

/// The operating-system face of LkCondVar: a stack of the waiting threads' entries.
class QV_RESMGT_API LkCondVarPosix {
public:
    explicit LkCondVarPosix( const char* name ) noexcept
        : _name( name ) {}
    LkCondVarPosix( const LkCondVarPosix& ) = delete;
    LkCondVarPosix& operator=( const LkCondVarPosix& ) = delete;

    /// REQUIRES: the caller holds `lock`.
    void wait( const LkLock& lock ) const;
    // A waiter that the caller must wake has pushed its entry under the lock under which the
    // caller changed what it waits for; the lock makes that push visible here.
    /// Wakes the newest waiter, if there is one.
    void signal() const {
        if( !_waiters.isEmpty() ) {
            wakeNewest();
        }
    }
    /// Wakes all waiters.
    void broadcast() const {
        if( !_waiters.isEmpty() ) {
            wakeAll();
        }
    }
    const char* getName() const noexcept { return _name; }

private:
    void wakeNewest() const;
    void wakeAll() const;

    const char* const _name;
    mutable LkSList _waiters;
};

} // namespace Qv
