#include <resmgt/locks/lkEventPosix.h>

#include <base/locks/lkPause.h>
#include <resmgt/locks/src/lkSpin.h>
#include <resmgt/locks/src/posix/lkFutexPosix.h>

namespace Qv {

void LkEventPosix::set() {
    // Nothing of this object is touched after the swap: a waiter may destroy it then.
    const std::atomic<std::uint32_t>* const word = &_word;
    std::uint32_t seen = _word.load( std::memory_order_relaxed );
    std::uint32_t next = 0;
    do {
        next = ( seen & IS_SET ) != 0 ? seen : ( ( seen & ~HAS_SLEEPERS ) + COUNT_ONE ) | IS_SET;
        // Also where nothing changes: this set's release counts for those that pass later.
    } while( !_word.compare_exchange_weak( seen, next, std::memory_order_release,
                                           std::memory_order_relaxed ) );
    if( ( seen & HAS_SLEEPERS ) != 0 ) {
        LkFutex::wakeAll( word );
    }
}

void LkEventPosix::reset() {
    // A read-modify-write, so that whoever reads its result still acquires the set before it.
    _word.fetch_and( ~IS_SET, std::memory_order_relaxed );
}

bool LkEventPosix::wait( const LkDeadline& deadline ) const {
    std::uint32_t seen = _word.load( std::memory_order_acquire );
    const std::uint32_t count = seen & ~( IS_SET | HAS_SLEEPERS );
    const auto hasPassed = [&] {
        return ( seen & IS_SET ) != 0 || ( seen & ~( IS_SET | HAS_SLEEPERS ) ) != count;
    };
    // A quarter of a full look: an event is more often waited for long.
    for( int left = lkSpinLimit( 2 ); left > 0 && !hasPassed(); --left ) {
        lkPause();
        seen = _word.load( std::memory_order_acquire );
    }
    while( !hasPassed() ) {
        if( deadline.isOver() ) {
            return false;
        }
        if( ( seen & HAS_SLEEPERS ) != 0 ||
            _word.compare_exchange_weak( seen, seen | HAS_SLEEPERS, std::memory_order_acquire,
                                         std::memory_order_acquire ) ) {
            LkFutex::wait( _word, seen | HAS_SLEEPERS, deadline );
            seen = _word.load( std::memory_order_acquire );
        }
    }
    return true;
}

} // namespace Qv
