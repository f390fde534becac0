#pragma once

#include <resmgt/locks/lkWaitable.h>
#if defined( _WIN32 )
#    include <resmgt/locks/lkTimedCondVarWindows.h>
#else
#    include <resmgt/locks/lkTimedCondVarPosix.h>
#endif

#include <iosfwd>

namespace Qv {

#if defined( _WIN32 )
using LkTimedCondVarPlatform = LkTimedCondVarWindows;
#else
/// The timed condition variable of this platform.
using LkTimedCondVarPlatform = LkTimedCondVarPosix;
#endif

/// Condition variable whose waits may have a limit; the oldest waiter wakes first.
///
/// Threads:  signal and broadcast from any thread, with or without the lock.
/// Waking:   only by a signal; one that finds no waiter is lost. Test in a loop all the same.
/// Time-out: a signal may take a waiter off the queue just as its time runs out. The wait then
/// returns false too: the signal is lost, and a client for which that matters passes it on.
/// Lifetime: nobody may wait when it is destroyed, and no broadcast may be under way: a waiter that
///           a broadcast has woken may destroy it only after that has returned. This isn't checked.
/// Errors:   a wait without the lock is an assertion, a failed system call a system assertion. A
///           wait that raises isn't queued any more, and passes on the signal that it got.
/// Cost:     an internal lock, held for a few pointer writes.
class QV_RESMGT_API LkTimedCondVar : public LkTimedWaitable {
public:
    /// `name` is kept, not copied: it must outlive this object.
    explicit LkTimedCondVar( const char* name ) noexcept
        : _imp( name ) {}
    ~LkTimedCondVar() override;

    /// Wakes the oldest waiter.
    void signal() const { _imp.signal(); }
    /// Wakes all threads that wait, oldest first.
    void broadcast() const { _imp.broadcast(); }
    const char* getName() const noexcept { return _imp.getName(); }

private:
    friend class LkTimedCondVarTest;

    void performWait( const LkLock& lock ) const override;
    bool performTimedWait( const LkLock& lock, double seconds ) const override;

    LkTimedCondVarPlatform _imp;
};

/// Writes the name.
QV_RESMGT_API std::ostream& operator<<( std::ostream& stream, const LkTimedCondVar& condVar );

} // namespace Qv
