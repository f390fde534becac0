#pragma once

#include <resmgt/locks/lkSemaTypes.h>
#include <resmgt/resmgtApi.h>
#if defined( _WIN32 )
#    include <resmgt/locks/lkNamedSemaWindows.h>
#else
#    include <resmgt/locks/lkNamedSemaPosix.h>
#endif

namespace Qv {

#if defined( _WIN32 )
using LkNamedSemaPlatform = LkNamedSemaWindows;
#else
/// The named semaphore of this platform.
using LkNamedSemaPlatform = LkNamedSemaPosix;
#endif

/// Counting semaphore that processes share by a name.
///
/// Name:     any text; back-slashes count as forward slashes. See LkSemaHandlePosix for what the
///           system sees. Without a name (null) it is this object's alone.
/// Existing: the semaphore exists as long as some process has it open; the death of a process
///           closes it there. The last close removes the name and the count.
/// Killed:   if a process is killed in a wait, the wake-up of a post may be lost with it, but never
///           the count: another waiter takes that within a tenth of a second.
/// Fork:     a child's copy doesn't count while its parent has the semaphore open, and not after
///           the parent has closed it. Copies in children keep it open only when the parent ends
///           without closing it, until they are gone.
/// Errors:   a constructor that fails doesn't throw: `isValid` turns false and `getErrno` has the
///           reason. An invalid one ignores `post` and `wait`; `tryWait` on it is an assertion.
/// Threads:  any; assignment needs outer order.
/// Lifetime: the name given for display is kept, not copied; the other is copied.
class QV_RESMGT_API LkNamedSema {
public:
    /// `initialCount` counts only if the semaphore is new; at most 0x7FFFFFFF. `displayName` may be
    /// null: then `systemName` is shown, and kept.
    LkNamedSema( const char* systemName, unsigned int initialCount, LkSemaTypes::CreateFlag flag,
                 const char* displayName );
    LkNamedSema( const LkNamedSema& ) = delete;
    /// Closes what it had, and shares the other's.
    LkNamedSema& operator=( const LkNamedSema& other ) = default;

    /// Adds one to the value, and wakes a waiter.
    void post() { _imp.post(); }
    /// Waits until the value isn't 0, and takes one away.
    void wait() { _imp.wait(); }
    /// Takes one if the count isn't 0; returns whether it did.
    bool tryWait() { return _imp.tryWait(); }
    bool isValid() const noexcept { return _imp.isValid(); }
    /// The system's error number, 0 when all is well.
    int getErrno() const noexcept { return _imp.getErrno(); }
    /// How many times the semaphore is open now, over all processes; objects that share by
    /// assignment count once. 0 when invalid, 1 without a name.
    unsigned long getRefCount() const { return _imp.getRefCount(); }
    const char* getName() const noexcept { return _imp.getName(); }

private:
    LkNamedSemaPlatform _imp;
};

} // namespace Qv
