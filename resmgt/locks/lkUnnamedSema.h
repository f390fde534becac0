#pragma once

#include <resmgt/locks/lkNamedSema.h>

namespace Qv {

#if defined( _WIN32 )
using LkUnnamedSemaPlatform = LkUnnamedSemaWindows;
#else
/// The unnamed semaphore of this platform.
using LkUnnamedSemaPlatform = LkUnnamedSemaPosix;
#endif

/// Counting semaphore of the operating system without a name.
///
/// Lifetime: the name is kept, not copied: it must outlive this object. A waiter may destroy the
///           semaphore while the post that let it go is still returning.
/// Errors:   as LkNamedSema.
/// Threads:  any; assignment needs outer order.
class QV_RESMGT_API LkUnnamedSema {
public:
    /// `initialCount` is at most 0x7FFFFFFF.
    LkUnnamedSema( const char* displayName, unsigned int initialCount, LkSemaTypes::Shared shared );
    LkUnnamedSema( const LkUnnamedSema& ) = delete;
    /// Closes what it had, and shares the other's.
    LkUnnamedSema& operator=( const LkUnnamedSema& other ) = default;

    /// Adds one to the value, and wakes a waiter.
    void post() { _imp.post(); }
    /// Waits until the value isn't 0, and takes one away.
    void wait() { _imp.wait(); }
    /// Takes one if the count isn't 0; returns whether it did.
    bool tryWait() { return _imp.tryWait(); }
    bool isValid() const noexcept { return _imp.isValid(); }
    /// The system's error number, 0 when all is well.
    int getErrno() const noexcept { return _imp.getErrno(); }
    const char* getName() const noexcept { return _imp.getName(); }

private:
    LkUnnamedSemaPlatform _imp;
};

} // namespace Qv
