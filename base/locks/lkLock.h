#pragma once

#include <base/locks/lkGuard.h>
#if defined( _WIN32 )
#    include <base/locks/lkLockWindows.h>
#else
#    include <base/locks/lkLockPosix.h>
#endif

#include <iosfwd>

namespace Qv {

#if defined( _WIN32 )
using LkLockPlatform = LkLockWindows;
#else
/// The lock of this platform.
using LkLockPlatform = LkLockPosix;
#endif

/// The plain lock; held through LkGuard<const LkLock>.
///
/// Nesting:  a holder that locks again isn't blocked; the inner guard gives nothing back.
/// Fairness: any thread that is awake takes a free lock, even the one that has just given it back;
///           a thread that was woken and found the lock taken comes first the next time.
/// Const:    locking is const, so that const accessors can lock. It leaves errno as it is.
/// Cost:     one atomic operation to take and a store to give back without contention; then a short
///           spin, then sleep in a queue, with a barrier in all threads of the process.
class QV_BASE_API QV_CAPABILITY( "mutex" ) LkLock {
public:
    /// `name` is kept, not copied: it must outlive this object.
    explicit constexpr LkLock( const char* name ) noexcept
        : _name( name ) {}
    LkLock( const LkLock& ) = delete;
    LkLock& operator=( const LkLock& ) = delete;

    const char* getName() const noexcept { return _name; }
    /// Name and holder on one line.
    void dump( std::ostream& stream ) const;

    /// For what waits on a condition and gives the lock up meanwhile.
    const LkLockPlatform& getImp() const noexcept { return _imp; }

private:
    friend class LkGuard<LkLock>;
    friend class LkGuard<const LkLock>;

    bool lock() const QV_ACQUIRE() QV_NO_THREAD_SAFETY_ANALYSIS { return _imp.lock(); }
    void unlock() const QV_RELEASE() QV_NO_THREAD_SAFETY_ANALYSIS { _imp.unlock(); }

    const char* _name;
    LkLockPlatform _imp;
};

} // namespace Qv
