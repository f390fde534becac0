#pragma once

#include <resmgt/locks/lkTimedCondVar.h>

namespace Qv {

/// Counting semaphore for the threads of this process, whose waits may have a limit.
///
/// Threads: any. The oldest waiter wakes first, but a thread that asks at the right moment may take
///          the count before it.
/// Lost:    posts are never lost: a waiter whose time runs out just as it is signalled passes the
///          signal on.
/// Lifetime: nobody may wait, and no post may be under way, when it is destroyed.
/// Cost:    a post that nobody waits for is a lock and an increment.
class QV_RESMGT_API LkSema {
public:
    /// `name` is kept, not copied: it must outlive this object.
    LkSema( const char* name, unsigned int initialCount ) noexcept
        : _name( name )
        , _count( initialCount ) {}
    LkSema( const LkSema& ) = delete;
    LkSema& operator=( const LkSema& ) = delete;

    /// Adds one to the value, and wakes a waiter.
    void post();
    /// Waits until the value isn't 0, and takes one away.
    void wait();
    /// Takes one if the count isn't 0; returns whether it did.
    bool tryWait();
    /// False when the time ran out; the count is untouched then. The limit is that of
    /// LkTimedWaitable and starts anew after each wake-up that another thread was quicker to use,
    /// so the call can last longer.
    bool timedWait( double seconds );

    /// Always true: making this semaphore can't fail.
    bool isValid() const noexcept { return true; }
    const char* getName() const noexcept { return _name; }

private:
    friend class LkTimedCondVarTest;

    /// True when the count IS zero, whatever the name says: whether the caller must wait.
    bool isCountNonZero() const noexcept QV_REQUIRES( _lock ) { return _count == 0; }
    /// One pass of a wait; false when its time ran out.
    bool waitOnce( double seconds ) QV_REQUIRES( _lock );

    const char* const _name;
    unsigned int _count QV_GUARDED_BY( _lock );
    const LkLock _lock{ "LkSema lock" };
    LkTimedCondVar _nonZero{ "LkSema nonZero" };
    unsigned int _nbWaiters QV_GUARDED_BY( _lock ) = 0;
};

} // namespace Qv
