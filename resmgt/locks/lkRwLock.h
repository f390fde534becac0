#pragma once

#include <resmgt/locks/lkCondVar.h>
#include <resmgt/locks/lkRwLockState.h>

#include <iosfwd>

namespace Qv {

/// Lock for many readers or one writer; constness selects the mode.
///
///     const LkGuard<const LkRwLock> guard( lock );     reads
///     const LkGuard<LkRwLock> guard( lock );           writes
///
/// Preference: writers before readers: a waiting writer keeps every new reader out, including
///             `tryLock() const`, and a thread that leaves wakes a waiting writer before all
///             readers. So readers can starve. Of several waiting writers the newest is woken
///             first: while others come again and again, an old one can starve too.
/// Recursion:  none, and no upgrade; neither is detected. A thread that reads and locks again for
///             reading blocks for good when a writer has come in between.
/// Threads:    any; a hold may be ended by another thread than the one that began it.
/// Lifetime:   a thread may destroy the lock as soon as it holds it for writing and nobody else
///             waits or asks for it, also while the unlock that let it in is still returning.
/// Errors:     a wait that raises leaves the lock as if the thread hadn't come; one that waited for
///             writing wakes those whom it held up.
/// Cost:       while nobody waits, one atomic operation to enter and one to leave.
class QV_RESMGT_API QV_CAPABILITY( "shared_mutex" ) LkRwLock {
public:
    /// `name` is kept, not copied: it must outlive this object. The internal lock and both
    /// conditions have it too.
    explicit LkRwLock( const char* name ) noexcept
        : _lock( name )
        , _readers( name )
        , _writers( name ) {}
    LkRwLock( const LkRwLock& ) = delete;
    LkRwLock& operator=( const LkRwLock& ) = delete;
    ~LkRwLock();

    /// Whether it is held for reading. A snapshot, as all queries, under the internal lock; exact
    /// for a thread that holds the lock.
    bool isLocked() const { return getHeld() > 0; }
    /// Whether it is held for writing.
    bool isLocked() { return getHeld() < 0; }
    /// The same as `isLocked`, whichever thread holds it.
    bool isLockedByThread() const { return isLocked(); }
    bool isLockedByThread() { return isLocked(); }
    const char* getName() const noexcept { return _lock.getName(); }
    /// Name, what it is held by (0 free, -1 a writer, else the number of readers), and the waiters.
    /// Locks nothing.
    void dump( std::ostream& stream ) const;

private:
    friend class LkGuard<LkRwLock>;
    friend class LkGuard<const LkRwLock>;
    friend class LkRwLockTest;

    using Mode = LkRwLockState::Mode;

    /// Always true: each lock wants its unlock.
    bool lock() const QV_ACQUIRE() { return readLock(); }
    bool lock() QV_ACQUIRE() { return writeLock(); }
    /// Answer at once whether the caller holds the lock now.
    bool tryLock() const QV_TRY_ACQUIRE( true ) { return tryReadLock(); }
    bool tryLock() QV_TRY_ACQUIRE( true ) { return tryWriteLock(); }
    /// Both end either.
    void unlock() const QV_RELEASE() QV_NO_THREAD_SAFETY_ANALYSIS { unlock<LkRwLockState::READ>(); }
    void unlock() QV_RELEASE() QV_NO_THREAD_SAFETY_ANALYSIS { unlock<LkRwLockState::WRITE>(); }

    bool readLock() const QV_ACQUIRE() QV_NO_THREAD_SAFETY_ANALYSIS {
        if( !_state.enter<LkRwLockState::READ>() ) {
            lockSlowly<LkRwLockState::READ>();
        }
        return true;
    }
    bool writeLock() QV_ACQUIRE() QV_NO_THREAD_SAFETY_ANALYSIS {
        if( !_state.enter<LkRwLockState::WRITE>() ) {
            lockSlowly<LkRwLockState::WRITE>();
        }
        return true;
    }
    bool tryReadLock() const QV_TRY_ACQUIRE( true ) QV_NO_THREAD_SAFETY_ANALYSIS {
        return tryLock<LkRwLockState::READ>();
    }
    bool tryWriteLock() QV_TRY_ACQUIRE( true ) QV_NO_THREAD_SAFETY_ANALYSIS {
        return tryLock<LkRwLockState::WRITE>();
    }

    int getHeld() const;
    template <Mode mode>
    bool tryLock() const {
        const LkRwLockState::Answer answer = _state.tryEnter<mode>();
        return answer == LkRwLockState::UNDECIDED ? tryLockSlowly<mode>()
                                                  : answer == LkRwLockState::ENTERED;
    }
    template <Mode mode>
    void unlock() const {
        if( !_state.leave<mode>() ) {
            unlockSlowly();
        }
    }
    template <Mode mode>
    void lockSlowly() const;
    template <Mode mode>
    bool tryLockSlowly() const;
    template <Mode mode>
    void wait( const LkGuard<const LkLock>& guard ) const;
    void unlockSlowly() const;
    void wake( LkRwLockState::Wake whom ) const;

    const LkLock _lock;
    mutable LkRwLockState _state;
    const LkCondVar _readers;
    const LkCondVar _writers;
};

} // namespace Qv
