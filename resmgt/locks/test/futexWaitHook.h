#pragma once

#include <tests/support/holdPoint.h>

#include <functional>

namespace Qv {

/// While it lives, this thread's waits for a futex call `hook` first: it returns the error that the
/// wait fails with, or 0 to let it through.
class FutexWaitHook {
public:
    explicit FutexWaitHook( std::function<int()> hook );
    /// Holds a wait at `point`; then it fails with `error`, or goes through.
    FutexWaitHook( HoldPoint& point, int error )
        : FutexWaitHook( [&point, error] {
            point.pass();
            return error;
        } ) {}
    FutexWaitHook( const FutexWaitHook& ) = delete;
    FutexWaitHook& operator=( const FutexWaitHook& ) = delete;
    ~FutexWaitHook();

    /// The error that this thread's hook wants; 0 without a hook.
    static int pass();

private:
    const std::function<int()> _hook;
};

} // namespace Qv
