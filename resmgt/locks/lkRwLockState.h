#pragma once

#include <resmgt/resmgtApi.h>

#include <atomic>
#include <cstdint>

namespace Qv {

/// What an LkRwLock decides: who enters, who waits and who is woken. Its atomic word and its
/// counts; the lock adds its internal lock and the two conditions.
///
/// The word is a count of readers and the bits WRITER and FROZEN. While it isn't frozen, a reader
/// enters by adding itself and a writer by a swap from 0, and both leave by a swap. A reader that
/// finds one of the bits as it adds itself is a newcomer: it hasn't entered, goes to the internal
/// lock, and stays in the count until it enters or gives up.
///
/// Invariants
///  - FROZEN is set and taken off under the internal lock alone. It stays as long as a waiter is
///    counted or, without a writer, a newcomer is on its way. So whoever finds it takes the
///    internal lock and decides by all counts together.
///  - Frozen: the holders are `_nbReaders`, or WRITER. Nobody else enters and no one leaves without
///    the internal lock; newcomers alone may change the word.
///  - Not frozen, without WRITER: the count is that of the readers that hold the lock. With WRITER:
///    that of newcomers on their way, and the writer leaves under the internal lock unless it is 0.
///  - A waiter is counted, under the internal lock, from before it gives that lock up until it has
///    it again.
///  - Who leaves touches nothing of the lock once somebody else may own and destroy it. Either the
///    word wasn't frozen, and the swap was the last access; or the caller holds the lock until it
///    has the internal one, and leaves and wakes there. The word is frozen then and stays so: there
///    is a waiter or a newcomer, which can't be gone before the internal lock is given back, and
///    giving that back touches nothing after its own word is free. Who finds no reason to leave
///    under the internal lock, once it has that, gives it back before it leaves.
///
/// Orders
///  - Entering acquires and leaving releases. Every change of the word is a read-modify-write, so
///    that all are of one release sequence: a writer that takes the word from 0 sees all readers
///    that left by a swap.
///  - Freezing acquires, for those who enter under the internal lock, and thawing releases what
///    those did who left under it. In between the internal lock orders all, so that the rest is
///    relaxed.
///  - Bits and count are one word: no order between two places is needed, so nothing is
///    sequentially consistent.
///  - The other counts are written under the internal lock; atomic for `dump` alone, and relaxed.
class QV_RESMGT_API LkRwLockState {
public:
    /// Which of its two sides the lock is taken by.
    enum Mode { READ, WRITE };
    /// What becomes of an attempt to enter.
    enum Answer { ENTERED, REFUSED, UNDECIDED };
    /// Who is to be woken.
    enum Wake { NOBODY, ONE_WRITER, ALL_READERS };

    constexpr LkRwLockState() noexcept = default;
    LkRwLockState( const LkRwLockState& ) = delete;
    LkRwLockState& operator=( const LkRwLockState& ) = delete;

    /// Without the internal lock. False wants a decision under it; a reader is a newcomer then.
    template <Mode mode>
    bool enter() noexcept {
        if( mode == READ ) {
            // Adds without a look before: that would fetch the cache line twice.
            return ( _word.fetch_add( 1, std::memory_order_acquire ) & ( WRITER | FROZEN ) ) == 0;
        }
        std::uint32_t seen = FREE;
        return swap( seen, WRITER, std::memory_order_acquire );
    }
    /// One attempt; UNDECIDED wants a decision under the internal lock.
    template <Mode mode>
    Answer tryEnter() noexcept {
        std::uint32_t seen = FREE;
        while( !swap( seen, mode == READ ? seen + 1 : WRITER, std::memory_order_acquire ) ) {
            if( ( seen & FROZEN ) != 0 ) {
                return UNDECIDED;
            }
            if( mode == WRITE || ( seen & WRITER ) != 0 ) {
                return REFUSED;
            }
        }
        return ENTERED;
    }
    /// Ends either mode; the given one quickest. False wants `beginLeave` under the internal lock.
    template <Mode mode>
    bool leave() noexcept {
        // Guesses that nobody else holds it; for the same reason.
        std::uint32_t seen = mode == READ ? 1 : WRITER;
        while( !swap( seen, withOneLess( seen ), std::memory_order_release ) ) {
            if( mustLeaveUnderLock( seen ) ) {
                return false;
            }
        }
        return true;
    }

    /// All below until the queries: the caller holds the internal lock.
    void freeze() noexcept {
        const std::uint32_t seen = _word.fetch_or( FROZEN, std::memory_order_acquire );
        if( ( seen & FROZEN ) == 0 ) {
            setNbReaders( ( seen & WRITER ) != 0 ? 0 : seen );
        }
    }
    /// Takes FROZEN off if nobody waits and no newcomer is on its way.
    void thaw() noexcept {
        std::uint32_t seen = load();
        while( !hasWaiters() && ( seen & ~( WRITER | FROZEN ) ) == getNbReaders() &&
               !swap( seen, seen & ~FROZEN, std::memory_order_release ) ) {}
    }
    /// For a holder. False: it leaves without the internal lock, and gives that back before.
    bool beginLeave() noexcept {
        const bool mustLeave = mustLeaveUnderLock( load() );
        if( mustLeave ) {
            freeze();
        }
        return mustLeave;
    }

    /// REQUIRES, here and below: the word is frozen.
    template <Mode mode>
    bool mustWait() const noexcept {
        const bool isWriting = ( load() & WRITER ) != 0;
        return isWriting || ( mode == READ ? getNbWaiters<WRITE>() != 0 : getNbReaders() != 0 );
    }
    /// Counts one waiter more.
    template <Mode mode>
    void beginWait() noexcept {
        getCount<mode>().store( getNbWaiters<mode>() + 1, std::memory_order_relaxed );
    }
    /// Counts one waiter less.
    template <Mode mode>
    void endWait() noexcept {
        getCount<mode>().store( getNbWaiters<mode>() - 1, std::memory_order_relaxed );
    }
    /// A reader that isn't a newcomer yet becomes one, before it enters.
    void addNewcomer() noexcept { _word.fetch_add( 1, std::memory_order_relaxed ); }
    /// A reader is a newcomer. Thaws.
    template <Mode mode>
    void enterFrozen() noexcept {
        if( mode == READ ) {
            setNbReaders( getNbReaders() + 1 );
        } else {
            _word.fetch_or( WRITER, std::memory_order_relaxed );
        }
        thaw();
    }
    /// Who waited ends without entering; answers whom it wakes. Thaws.
    template <Mode mode>
    Wake giveUp() noexcept {
        endWait<mode>();
        if( mode == READ ) {
            _word.fetch_sub( 1, std::memory_order_relaxed );
        }
        thaw();
        return getNext();
    }
    /// Answers whom the caller wakes, before it gives the internal lock back.
    Wake leaveFrozen() noexcept {
        if( ( load() & WRITER ) != 0 ) {
            _word.fetch_and( ~WRITER, std::memory_order_relaxed );
        } else {
            _word.fetch_sub( 1, std::memory_order_relaxed );
            setNbReaders( getNbReaders() - 1 );
        }
        return getNext();
    }

    /// Snapshots, with or without the internal lock. 0 free, -1 held for writing, else the number
    /// of readers; without the lock the readers may be missed while the word is being frozen.
    int getHeld() const noexcept {
        const std::uint32_t seen = load();
        if( ( seen & WRITER ) != 0 ) {
            return -1;
        }
        return static_cast<int>( ( seen & FROZEN ) != 0 ? getNbReaders() : seen );
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

    static constexpr std::uint32_t withOneLess( std::uint32_t word ) noexcept {
        return ( word & WRITER ) != 0 ? word & ~WRITER : word - 1;
    }
    static constexpr bool mustLeaveUnderLock( std::uint32_t word ) noexcept {
        return word != WRITER && ( word & ( WRITER | FROZEN ) ) != 0;
    }

    bool swap( std::uint32_t& seen, std::uint32_t next, std::memory_order order ) noexcept {
        return _word.compare_exchange_strong( seen, next, order, std::memory_order_relaxed );
    }
    std::uint32_t load() const noexcept { return _word.load( std::memory_order_relaxed ); }
    bool hasWaiters() const noexcept {
        return getNbWaiters<READ>() != 0 || getNbWaiters<WRITE>() != 0;
    }
    unsigned int getNbReaders() const noexcept {
        return _nbReaders.load( std::memory_order_relaxed );
    }
    void setNbReaders( unsigned int nbReaders ) noexcept {
        _nbReaders.store( nbReaders, std::memory_order_relaxed );
    }
    /// Who can go on now.
    Wake getNext() const noexcept {
        const bool isWriting = ( load() & WRITER ) != 0;
        if( getNbWaiters<WRITE>() != 0 ) {
            return !isWriting && getNbReaders() == 0 ? ONE_WRITER : NOBODY;
        }
        return getNbWaiters<READ>() != 0 && !isWriting ? ALL_READERS : NOBODY;
    }
    template <Mode mode>
    std::atomic<unsigned int>& getCount() noexcept {
        return mode == READ ? _nbReadWaiters : _nbWriteWaiters;
    }

    std::atomic<std::uint32_t> _word{ FREE };
    // The readers that hold the lock, while the word is frozen.
    std::atomic<unsigned int> _nbReaders{ 0 };
    std::atomic<unsigned int> _nbWriteWaiters{ 0 };
    std::atomic<unsigned int> _nbReadWaiters{ 0 };
};

} // namespace Qv
