#pragma once

#include <resmgt/observers/src/obPass.h>

namespace Qv {

/// A removal that may wait for calls of its observer, while it lives.
///
/// A thread that is in no call itself is waited for by nobody, and isn't recorded. The others are:
/// what they stand in doesn't change while they wait, so that a circle is seen by whoever closes
/// it. Waits whose reason has gone are seen as such, since nobody stands at their observer any
/// more.
class ObWait {
public:
    /// Errors: an assertion if it would wait for its own end.
    ObWait( const ObChangeManagerImp& manager, const ObObserverAny* observer );
    ObWait( const ObWait& ) = delete;
    ObWait& operator=( const ObWait& ) = delete;
    ~ObWait();

private:
    bool waitsForItself() const noexcept;
    bool waitsFor( const ObPass* innermost ) const noexcept;

    const ObChangeManagerImp& _manager;
    const ObObserverAny* const _observer;
    const ObPass* const _innermost;
    /// Guarded by the lock of all waits.
    ObWait* _next = nullptr;
    mutable bool _isSeen = false;
    mutable const ObWait* _nextSeen = nullptr;
};

} // namespace Qv
