#pragma once

#include <resmgt/locks/lkWaitable.h>
#if defined( _WIN32 )
#    include <resmgt/locks/lkCondVarWindows.h>
#else
#    include <resmgt/locks/lkCondVarPosix.h>
#endif

#include <iosfwd>

namespace Qv {

#if defined( _WIN32 )
using LkCondVarPlatform = LkCondVarWindows;
#else
/// The condition variable of this platform.
using LkCondVarPlatform = LkCondVarPosix;
#endif

/// Condition variable with a lock-free queue; the newest waiter wakes first.
///
/// Threads:  signal and broadcast from any thread, with or without the lock. All waiters of one
///           variable hold the same lock.
/// Waking:   only by a signal; one that finds no waiter is lost. Test in a loop all the same.
/// Order:    no fairness: the latest arrival goes first.
/// Lifetime: nobody may wait when it is destroyed; this isn't checked. A waiter may destroy it as
///           soon as it has been woken, if no other signaller is under way.
/// Errors:   a wait without the lock is an assertion, a failed system call a system assertion. A
///           wait that raises isn't queued any more, and wakes the others that wait: they test.
/// Cost:     after a thread's first wait, queueing is one compare-and-swap; a signal that finds
///           nobody is one read. A waiter looks for its signal for some microseconds before it
///           sleeps.
class QV_RESMGT_API LkCondVar : public LkWaitable {
public:
    /// `name` is kept, not copied: it must outlive this object.
    explicit LkCondVar( const char* name ) noexcept
        : _imp( name ) {}
    ~LkCondVar() override;

    /// Wakes the newest waiter.
    void signal() const { _imp.signal(); }
    /// Wakes all threads that wait when it starts.
    void broadcast() const { _imp.broadcast(); }
    const char* getName() const noexcept { return _imp.getName(); }

private:
    void performWait( const LkLock& lock ) const override;

    LkCondVarPlatform _imp;
};

/// Writes the name.
QV_RESMGT_API std::ostream& operator<<( std::ostream& stream, const LkCondVar& condVar );

} // namespace Qv
