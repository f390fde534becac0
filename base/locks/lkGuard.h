#pragma once

#include <base/locks/lkAnnotations.h>

namespace Qv {

/// Holds a lock for a scope.
///
/// `T` is a lock class or a const one. Its `lock` returns whether the lock must be given back:
/// false when the calling thread holds it already. The guard keeps that answer, so nested guards
/// of one thread end in the right order. Gives access to the private `lock` and `unlock`.
template <class T>
class QV_SCOPED_CAPABILITY LkGuard {
public:
    explicit LkGuard( T& lock ) QV_ACQUIRE( lock )
        : _lock( lock )
        , _mustUnlock( lock.lock() ) {}
    LkGuard( const LkGuard& ) = delete;
    LkGuard& operator=( const LkGuard& ) = delete;
    ~LkGuard() QV_RELEASE() {
        if( _mustUnlock ) {
            _lock.unlock();
        }
    }

    T& getLock() const noexcept { return _lock; }

private:
    T& _lock;
    const bool _mustUnlock;
};

} // namespace Qv
