#pragma once

#include <resmgt/resmgtApi.h>

#include <atomic>
#include <cstdint>

namespace Qv {

/// What an LkRwLock decides: who enters, who waits and who is woken. Its atomic word and its counts
/// of waiters; the lock adds its internal lock and the two conditions.
///
/// The word is the number of readers, or WRITER; with FROZEN, somebody waits or is just deciding.
///
/// Invariants
///  - FROZEN is set and taken off under the internal lock alone, and while it is set the word
///    changes under that lock alone. It stands there as long as a waiter is counted. So whoever
///    finds it takes the internal lock and decides by word and counts together; while nobody waits,
///    one compare-and-swap enters and one leaves.
///  - A waiter is counted, under the internal lock, from before it gives that lock up until it has
///    it again.
///  - Who leaves touches nothing of the lock once somebody else may own and destroy it. Either the
///    word wasn't frozen, and the swap was the last access; or the caller holds the lock until it
///    has the internal one, and leaves and wakes there: a frozen word lets nobody enter who hasn't
///    the internal lock, and giving that back touches nothing after its own word is free. Who finds
///    the word no longer frozen, once it has the internal lock, gives that back before it leaves.
///
/// Orders
///  - Entering acquires and leaving releases. The swaps of readers that leave are one release
///    sequence, so that the writer that takes the word from 0 sees them all.
///  - Freezing acquires, and each store under the internal lock releases: it ends the release
///    sequence of those who left by a swap, and passes on what they released.
///  - Loads under the internal lock are relaxed: its holder sees the frozen word's last change,
///    since that was its own or was made under the internal lock before.
///  - Word and flag are one: no order between two places is needed, so nothing is sequentially
///    consistent.
///  - The counts are written under the internal lock; atomic for `dump` alone, and relaxed.
class QV_RESMGT_API LkRwLockState {
public:
    enum Mode { READ, WRITE };
    enum Answer { ENTERED, REFUSED, UNDECIDED };
    enum Wake { NOBODY, ONE_WRITER, ALL_READERS };

    constexpr LkRwLockState() noexcept = default;
    LkRwLockState( const LkRwLockState& ) = delete;
    LkRwLockState& operator=( const LkRwLockState& ) = delete;

    /// Without the internal lock: false, or UNDECIDED, wants the form below.
    template <Mode mode>
    bool enter() noexcept {
        // Guesses the free word: a look at it first would fetch its cache line twice.
        std::uint32_t seen = FREE;
        while( !swap( seen, withOneMore<mode>( seen ), std::memory_order_acquire ) ) {
            if( ( seen & ( FROZEN | inWayOf<mode>() ) ) != 0 ) {
                return false;
            }
        }
        return true;
    }
    template <Mode mode>
    Answer tryEnter() noexcept {
        std::uint32_t seen = FREE;
        while( !swap( seen, withOneMore<mode>( seen ), std::memory_order_acquire ) ) {
            if( ( seen & inWayOf<mode>() ) != 0 ) {
                return REFUSED;
            }
            if( ( seen & FROZEN ) != 0 ) {
                return UNDECIDED;
            }
        }
        return ENTERED;
    }
    /// Ends either mode; the given one quickest.
    template <Mode mode>
    bool leave() noexcept {
        // Guesses that nobody else holds it; for the same reason.
        std::uint32_t seen = withOneMore<mode>( FREE );
        while( !swap( seen, withOneLess( seen ), std::memory_order_release ) ) {
            if( ( seen & FROZEN ) != 0 ) {
                return false;
            }
        }
        return true;
    }

    /// All below until the queries: the caller holds the internal lock.
    void freeze() noexcept { _word.fetch_or( FROZEN, std::memory_order_acquire ); }
    bool isFrozen() const noexcept { return ( load() & FROZEN ) != 0; }
    /// Takes FROZEN off if nobody waits.
    void thaw() noexcept { store( load() ); }

    /// REQUIRES, here and below: the word is frozen.
    template <Mode mode>
    bool mustWait() const noexcept {
        return ( load() & inWayOf<mode>() ) != 0 || ( mode == READ && getNbWaiters<WRITE>() != 0 );
    }
    template <Mode mode>
    void beginWait() noexcept {
        getCount<mode>().store( getNbWaiters<mode>() + 1, std::memory_order_relaxed );
    }
    template <Mode mode>
    void endWait() noexcept {
        getCount<mode>().store( getNbWaiters<mode>() - 1, std::memory_order_relaxed );
    }
    /// Thaws.
    template <Mode mode>
    void enterFrozen() noexcept {
        store( withOneMore<mode>( load() ) );
    }
    /// Answers whom the caller wakes, before it gives the internal lock back.
    Wake leaveFrozen() noexcept {
        store( withOneLess( load() ) );
        return getNext();
    }
    /// Who can go on now. For one that leaves, and for a waiter that ends without entering: it may
    /// have been woken, or have held readers up.
    Wake getNext() const noexcept {
        const bool isFree = ( load() & ~FROZEN ) == FREE;
        if( getNbWaiters<WRITE>() != 0 ) {
            return isFree ? ONE_WRITER : NOBODY;
        }
        const bool isWriting = ( load() & WRITER ) != 0;
        return getNbWaiters<READ>() != 0 && !isWriting ? ALL_READERS : NOBODY;
    }

    /// Snapshots, with or without the internal lock. 0 free, -1 held for writing, else the number
    /// of readers.
    int getHeld() const noexcept {
        const std::uint32_t held = load() & ~FROZEN;
        return held == WRITER ? -1 : static_cast<int>( held );
    }
    template <Mode mode>
    unsigned int getNbWaiters() const noexcept {
        return ( mode == READ ? _nbReadWaiters : _nbWriteWaiters )
            .load( std::memory_order_relaxed );
    }

private:
    friend class LkRwLockModel;

    static constexpr std::uint32_t FREE = 0;
    static constexpr std::uint32_t WRITER = 1u << 31;
    static constexpr std::uint32_t FROZEN = 1u << 30;

    /// The bits that keep a newcomer out.
    template <Mode mode>
    static constexpr std::uint32_t inWayOf() noexcept {
        return mode == READ ? WRITER : ~FROZEN;
    }
    template <Mode mode>
    static constexpr std::uint32_t withOneMore( std::uint32_t word ) noexcept {
        return mode == READ ? word + 1 : word | WRITER;
    }
    static constexpr std::uint32_t withOneLess( std::uint32_t word ) noexcept {
        return ( word & WRITER ) != 0 ? word & ~WRITER : word - 1;
    }

    bool swap( std::uint32_t& seen, std::uint32_t next, std::memory_order order ) noexcept {
        return _word.compare_exchange_strong( seen, next, order, std::memory_order_relaxed );
    }
    std::uint32_t load() const noexcept { return _word.load( std::memory_order_relaxed ); }
    void store( std::uint32_t word ) noexcept {
        const bool hasWaiters = getNbWaiters<READ>() != 0 || getNbWaiters<WRITE>() != 0;
        _word.store( hasWaiters ? word | FROZEN : word & ~FROZEN, std::memory_order_release );
    }
    template <Mode mode>
    std::atomic<unsigned int>& getCount() noexcept {
        return mode == READ ? _nbReadWaiters : _nbWriteWaiters;
    }

    std::atomic<std::uint32_t> _word{ FREE };
    std::atomic<unsigned int> _nbWriteWaiters{ 0 };
    std::atomic<unsigned int> _nbReadWaiters{ 0 };
};

} // namespace Qv
