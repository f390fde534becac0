#include <resmgt/locks/src/lkAutoResetEvent.h>

#include <base/locks/lkPause.h>
#include <resmgt/locks/src/lkSpin.h>
#include <resmgt/locks/src/posix/lkFutexPosix.h>

#include <chrono>
#include <thread>

namespace Qv {

void LkAutoResetEvent::set() {
    // Nothing of this object is touched after the exchange.
    const std::atomic<std::uint32_t>* const word = &_word;
    if( _word.exchange( SET, std::memory_order_release ) == ASLEEP ) {
        LkFutex::wakeOne( word );
    }
}

bool LkAutoResetEvent::wait( const LkDeadline& deadline ) {
    if( spin() ) {
        _nbSleeps = 0;
    } else if( !sleep( deadline ) ) {
        return false;
    }
    // An exchange, not a store: a further set in between is taken together with what it released.
    _word.exchange( CLEAR, std::memory_order_acquire );
    return true;
}

bool LkAutoResetEvent::spin() noexcept {
    for( int left = lkSpinLimit( _nbSleeps ); left > 0; --left ) {
        if( _word.load( std::memory_order_relaxed ) == SET ) {
            return true;
        }
        lkPause();
    }
    return _word.load( std::memory_order_relaxed ) == SET;
}

bool LkAutoResetEvent::sleep( const LkDeadline& deadline ) {
    ++_nbSleeps;
    // Relaxed throughout: `wait` acquires when it takes the set.
    std::uint32_t seen = CLEAR;
    if( !_word.compare_exchange_strong( seen, ASLEEP, std::memory_order_relaxed,
                                        std::memory_order_relaxed ) ) {
        return true;
    }
    do {
        seen = ASLEEP;
        if( deadline.isOver() &&
            _word.compare_exchange_strong( seen, CLEAR, std::memory_order_relaxed,
                                           std::memory_order_relaxed ) ) {
            return false;
        }
        sleepOnce( deadline );
    } while( _word.load( std::memory_order_relaxed ) == ASLEEP );
    return true;
}

void LkAutoResetEvent::sleepOnce( const LkDeadline& deadline ) {
    try {
        LkFutex::wait( _word, ASLEEP, deadline );
    } catch( ... ) {
        std::uint32_t seen = ASLEEP;
        _word.compare_exchange_strong( seen, CLEAR, std::memory_order_relaxed,
                                       std::memory_order_relaxed );
        throw;
    }
}

void LkAutoResetEvent::takeAtHand() noexcept {
    while( _word.load( std::memory_order_relaxed ) != SET ) {
        // Lets the one that sets it run, whatever its priority is.
        std::this_thread::sleep_for( std::chrono::microseconds( 50 ) );
    }
    _word.exchange( CLEAR, std::memory_order_acquire );
}

} // namespace Qv
