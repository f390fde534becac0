#pragma once

#include <base/locks/lkThreadId.h>
#include <base/qvBaseApi.h>

#include <atomic>
#include <cstdint>

namespace Qv {

/// The operating-system face of LkLock: one word, and a system call only under contention.
///
/// The word is 0 when free, else the holder's thread number, with CONTENDED set while somebody may
/// be asleep on it.
///
/// Invariants
///  - Only the holder clears the word, and with it the flag; it wakes one sleeper if the flag was
///    set.
///  - Whoever has slept takes the lock with the flag set, since others may sleep still; so a
///    sleeper is never forgotten, at the price of one wake-up that finds nobody.
///  - A thread sees its own number in the word only if it holds the lock, which makes the test for
///    a second lock by the holder free of races.
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
        if( ( _word.exchange( FREE, std::memory_order_release ) & CONTENDED ) != 0 ) {
            wakeOne();
        }
    }
    /// The holder's number, 0 when free; a snapshot for dumps.
    std::uint32_t getHolder() const noexcept {
        return _word.load( std::memory_order_relaxed ) & ~CONTENDED;
    }

private:
    static constexpr std::uint32_t FREE = 0;
    static constexpr std::uint32_t CONTENDED = 0x80000000u;

    bool lockContended( std::uint32_t seen ) const;
    void wakeOne() const noexcept;

    mutable std::atomic<std::uint32_t> _word{ FREE };
};

} // namespace Qv
