#include <base/locks/lkLockPosix.h>
#include <base/locks/lkPause.h>

#include <algorithm>

namespace Qv {

namespace {

/// A waiter looks at the word this often before it sleeps, and pauses between two looks, at first
/// shortly, then twice as long each time up to the maximum. Together that is some microseconds,
/// about what a sleep and a wake-up cost. The growing pauses leave the word's cache line to a
/// holder that takes the lock again and again: with two threads in a tight loop they cost a
/// quarter of what looking without a pause does.
constexpr int SPIN_LOOKS = 6;
constexpr int SHORTEST_PAUSE = 16;
constexpr int LONGEST_PAUSE = 128;

void pauseFor( int count ) noexcept {
    for( ; count > 0; --count ) {
        lkPause();
    }
}

} // namespace

bool LkLockPosix::takeWhileLooking( std::uint32_t self ) const noexcept {
    int pause = SHORTEST_PAUSE;
    for( int looks = lkCanSpin() ? SPIN_LOOKS : 0; looks > 0; --looks ) {
        pauseFor( pause );
        pause = std::min( 2 * pause, LONGEST_PAUSE );
        std::uint32_t seen = _word.load( std::memory_order_relaxed );
        if( seen == FREE && _word.compare_exchange_weak( seen, self, std::memory_order_acquire,
                                                         std::memory_order_relaxed ) ) {
            return true;
        }
    }
    return false;
}

bool LkLockPosix::lockContended( std::uint32_t seen ) const {
    const std::uint32_t self = ThreadNumber::get();
    if( seen == self ) {
        return false;
    }
    return takeWhileLooking( self ) || LkSleepers::waitForTurn( _word, self, LkSleepers::LAST ) ||
           tryLock() || LkSleepers::waitForTurn( _word, self, LkSleepers::FIRST );
}

} // namespace Qv
