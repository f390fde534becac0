#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv {

/// Wakes a thread that waits for descriptors, by the system's `poll` or an OsMultiplexer.
///
///     OsWakeUp wakeUp;
///     EvQueueEventManager events( [&wakeUp] { wakeUp.wakeUp(); } );
///     for( ;; ) {
///         pollfd waited[] = { { wakeUp.getDescriptor(), POLLIN, 0 }, ... };
///         ::poll( waited, ... );
///         wakeUp.drain();
///         events.drain();
///     }
///
/// Order:    `drain` comes before the look at the work. What was put there before a `wakeUp` is
///           seen by whoever drains that one; a `wakeUp` after the look ends the next wait at once.
/// Waking:   stays until it is drained, and many are as one.
/// Threads:  any; `drain` where the wait is.
/// Lifetime: nobody may wait for the descriptor or wake when it is destroyed.
/// Fork:     a child shares it with its parent, as every descriptor; it is closed on exec.
class QV_RESMGT_API OsWakeUp {
public:
    /// Errors: ExSysErrorWindows, as when no descriptor is free.
    OsWakeUp();
    OsWakeUp( const OsWakeUp& ) = delete;
    OsWakeUp& operator=( const OsWakeUp& ) = delete;
    ~OsWakeUp();

    /// To be waited for, until it is readable; not to be read from. Never 0, 1 or 2.
    int getDescriptor() const noexcept { return _descriptor; }
    /// Never blocks. May be called by a signal handler; errno stays.
    ///
    /// Errors: none but that somebody else has closed the descriptor, which is a system assertion.
    void wakeUp();
    /// Answers whether there was a `wakeUp` since the last time; never blocks. Errors: as `wakeUp`.
    bool drain();

private:
    int _descriptor;
};

} // namespace Qv
