#pragma once

#include <base/locks/lkSleepersPosix.h>
#include <base/locks/lkThreadId.h>
#include <base/qvBaseApi.h>

#include <atomic>
#include <cstdint>

namespace Qv {

/// The operating-system face of LkLock: one word, and a system call only under contention.
///
/// The word is 0 when free, else the holder's thread number. Who can't get it sleeps in LkSleepers.
///
/// Invariants
///  - Only the holder clears the word. Only a free word is taken: by a thread for itself, or for a
///    thread that waits in LkSleepers by one who gives the lock back.
///  - A running thread sees its own number in the word only if it holds the lock, which makes the
///    test for a second lock by the holder free of races.
///  - `unlock` touches no memory of the lock after the word is free, so that whoever takes it next
///    may destroy it.
///
/// Order: taking acquires, giving back releases; the word orders all that the lock guards.
class QV_BASE_API LkLockPosix {
public:
    constexpr LkLockPosix() noexcept = default;
    LkLockPosix( const LkLockPosix& ) = delete;
    LkLockPosix& operator=( const LkLockPosix& ) = delete;

    /// Blocks until the caller holds the lock. False if it did already: it must not unlock then.
    bool lock() const {
        std::uint32_t expected = FREE;
        return _word.compare_exchange_strong( expected, ThreadNumber::get(),
                                              std::memory_order_acquire,
                                              std::memory_order_relaxed ) ||
               lockContended( expected );
    }
    /// Takes the lock if it is free, and never waits. False if anybody holds it, the caller
    /// included.
    bool tryLock() const {
        std::uint32_t expected = FREE;
        return _word.compare_exchange_strong(
            expected, ThreadNumber::get(), std::memory_order_acquire, std::memory_order_relaxed );
    }
    /// REQUIRES: the caller holds the lock.
    void unlock() const {
        _word.store( FREE, std::memory_order_release );
        if( LkSleepers::mayHaveSome( &_word ) ) {
            LkSleepers::wakeOne( &_word );
        }
    }
    /// The holder's number, 0 when free; a snapshot for dumps.
    std::uint32_t getHolder() const noexcept { return _word.load( std::memory_order_relaxed ); }

private:
    static constexpr std::uint32_t FREE = 0;

    bool lockContended( std::uint32_t seen ) const;
    bool takeWhileLooking( std::uint32_t self ) const noexcept;

    mutable std::atomic<std::uint32_t> _word{ FREE };
};

} // namespace Qv
