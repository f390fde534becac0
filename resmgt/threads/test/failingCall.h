#pragma once

#include <atomic>

namespace Qv {

class HoldPoint;

/// While it lives, the `nth` call of the system named `name` that this program's objects make, on
/// any thread, fails with `error`; FOR_GOOD all later ones too.
class FailingCall {
public:
    enum Times { ONCE, FOR_GOOD };

    FailingCall( const char* name, int error, Times times = FOR_GOOD, long nth = 1 );
    FailingCall( const FailingCall& ) = delete;
    FailingCall& operator=( const FailingCall& ) = delete;
    ~FailingCall();

    bool hasFailed() const { return _nbCalls >= _nth; }

    /// The error that a call of that name is to fail with now, else 0.
    static int pass( const char* name );

private:
    const char* const _name;
    const int _error;
    const Times _times;
    const long _nth;
    std::atomic<long> _nbCalls = 0;
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
};

/// The calling thread's next look at the steady clock passes `point` first.
void holdAtClock( HoldPoint& point );

} // namespace Qv
