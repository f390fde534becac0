#pragma once

#include <resmgt/osal/test/failingCalls.h>
#include <tests/support/holdPoint.h>

namespace Qv {

class HoldPoint;

/// Fails a call of the system whichever thread makes it.
class ProcessFailingCall : public FailingCall {
public:
    explicit ProcessFailingCall( const char* name, int error, Times times = FOR_GOOD,
                                 long nth = 1 );

    bool hasFailed() const { return nbCalls() >= _nth; }

private:
    const long _nth;
};

/// While it lives, this program's objects are refused, as the system refuses processes without
/// privileges: nice values below 20 less `nice`, and real-time priorities above `realTime`. The
/// limits that the system reports are these.
class RefusedPriorities {
public:
    RefusedPriorities( int nice, int realTime );
    RefusedPriorities( const RefusedPriorities& ) = delete;
    RefusedPriorities& operator=( const RefusedPriorities& ) = delete;
    ~RefusedPriorities();

private:
    const CallHook _niceHook;
    const CallHook _realTimeHook;
};

/// The calling thread's next look at the steady clock passes `point` first.
void holdAtClock( HoldPoint& point );

} // namespace Qv
