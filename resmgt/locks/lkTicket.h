#pragma once

#include <resmgt/locks/lkCondVar.h>

#include <atomic>
#include <cstdint>

namespace Qv {

/// Lets threads go one after the other in the order of their numbers; held through LkTicketGuard.
///
///     { const LkTicketGuard turn( ticket, number );  ... }     the next number's turn begins here
///
/// Numbers:  from 0, each once; the client decides who gives them out. A number that nobody takes
///           holds up all later ones.
/// Threads:  any.
/// Lifetime: who has its turn may destroy the ticket once nobody else waits, also while the `next`
///           that began the turn is still returning.
/// Cost:     while nobody is asleep, a turn is handed over by one compare-and-swap; who waits looks
///           for it for some microseconds before it sleeps.
class QV_RESMGT_API LkTicket {
public:
    /// `name` is kept, not copied: it must outlive this object.
    explicit LkTicket( const char* name ) noexcept
        : _lock( name )
        , _turns( name ) {}
    LkTicket( const LkTicket& ) = delete;
    LkTicket& operator=( const LkTicket& ) = delete;

    /// The number whose turn it is; locks nothing.
    long long getTicket() const noexcept { return toTicket( load() ); }
    /// Ends the turn of a thread that has it without a guard.
    void next() {
        if( !tryNext() ) {
            nextSlowly();
        }
    }
    const char* getName() const noexcept { return _lock.getName(); }

private:
    friend class LkTicketGuard;
    friend class LkTicketTest;

    // The word is twice the number whose turn it is, plus HAS_SLEEPERS.
    //
    // HAS_SLEEPERS is set and taken off under the lock alone, and stands as long as a waiter is
    // counted; with it the number changes under the lock alone. So who hands a turn over touches
    // nothing once its taker may have destroyed the ticket: either the swap was the last access, or
    // a waiter is counted, which can't return before the lock is given back. Who finds the flag
    // gone, once it has the lock, gives that back and begins anew.
    //
    // A turn's end releases and its beginning acquires; every change is a read-modify-write, so a
    // turn sees all earlier ones, also those that nobody waited for.
    static constexpr std::uint64_t HAS_SLEEPERS = 1;
    static constexpr std::uint64_t ONE_TICKET = 2;

    static long long toTicket( std::uint64_t word ) noexcept {
        return static_cast<long long>( word / ONE_TICKET );
    }
    std::uint64_t load() const noexcept { return _word.load( std::memory_order_acquire ); }
    bool tryNext() noexcept;

    /// Returns once it is the number's turn; true if that wasn't so at once.
    ///
    /// Errors: the assertion "ticket >= _ticket" once the number has passed, also during the wait.
    bool waitForTicket( long long ticket ) const;
    bool isTurn( long long ticket ) const;
    bool spin( long long ticket ) const;
    void sleep( long long ticket ) const;
    void nextSlowly();

    mutable std::atomic<std::uint64_t> _word{ 0 };
    const LkLock _lock;
    const LkCondVar _turns;
    mutable unsigned int _nbSleepers QV_GUARDED_BY( _lock ) = 0;
};

inline bool LkTicket::tryNext() noexcept {
    std::uint64_t seen = _word.load( std::memory_order_relaxed );
    while( ( seen & HAS_SLEEPERS ) == 0 ) {
        if( _word.compare_exchange_weak( seen, seen + ONE_TICKET, std::memory_order_release,
                                         std::memory_order_relaxed ) ) {
            return true;
        }
    }
    return false;
}

/// A number's turn: waits for it, and ends it with the scope.
class LkTicketGuard {
public:
    /// Errors: the assertion "ticket >= _ticket" for a number that has passed. No turn is ended
    ///         then.
    LkTicketGuard( LkTicket& ticket, long long number )
        : _ticket( ticket )
        , _hasWaited( ticket.waitForTicket( number ) ) {}
    LkTicketGuard( const LkTicketGuard& ) = delete;
    LkTicketGuard& operator=( const LkTicketGuard& ) = delete;
    ~LkTicketGuard() { _ticket.next(); }

    /// Whether it was another number's turn when this began.
    bool hasWaited() const noexcept { return _hasWaited; }

private:
    LkTicket& _ticket;
    const bool _hasWaited;
};

} // namespace Qv
