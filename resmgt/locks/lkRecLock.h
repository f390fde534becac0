#pragma once

#include <base/locks/lkGuard.h>
#include <resmgt/resmgtApi.h>
#if defined( _WIN32 )
#    include <resmgt/locks/lkRecLockWindows.h>
#else
#    include <resmgt/locks/lkRecLockPosix.h>
#endif

#include <iosfwd>

namespace Qv {

#if defined( _WIN32 )
using LkRecLockPlatform = LkRecLockWindows;
#else
/// The recursive lock of this platform.
using LkRecLockPlatform = LkRecLockPosix;
#endif

/// Lock that its holder may take again; held through LkGuard<LkRecLock>.
///
/// Nesting: it is free again after as many unlocks as locks.
/// Threads: any. `isLocked` and `dump` are snapshots; `isLockedByThread` is exact.
/// Cost:    that of LkLock.
class QV_RESMGT_API QV_CAPABILITY( "mutex" ) LkRecLock {
public:
    /// `name` is kept, not copied: it must outlive this object.
    explicit LkRecLock( const char* name ) noexcept
        : _imp( name ) {}
    LkRecLock( const LkRecLock& ) = delete;
    LkRecLock& operator=( const LkRecLock& ) = delete;

    /// Whether any thread holds it, the caller included.
    bool isLocked() const noexcept { return _imp.isLocked(); }
    /// Whether the calling thread holds it.
    bool isLockedByThread() const noexcept { return _imp.isLockedByThread(); }
    const char* getName() const noexcept { return _imp.getName(); }
    /// Name, holder and depth. The holder is shown as 0 from any unlock until the next lock, also
    /// while outer locks are left.
    void dump( std::ostream& stream ) const;

private:
    friend class LkGuard<LkRecLock>;
    friend class LkGuard<const LkRecLock>;
    friend class LkRecLockTest;

    /// Always true: each lock wants its unlock.
    bool lock() const QV_ACQUIRE() QV_NO_THREAD_SAFETY_ANALYSIS { return _imp.lock(); }
    /// Answers at once whether the caller holds the lock now, and must unlock it.
    bool tryLock() const QV_TRY_ACQUIRE( true ) QV_NO_THREAD_SAFETY_ANALYSIS {
        return _imp.tryLock();
    }
    void unlock() const QV_RELEASE() QV_NO_THREAD_SAFETY_ANALYSIS { _imp.unlock(); }

    LkRecLockPlatform _imp;
};

} // namespace Qv
