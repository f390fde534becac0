#include <resmgt/logger/lgLimit.h>

#include <resmgt/logger/lgStream.h>
#include <resmgt/profiling/hwCounter.h>

#include <algorithm>

namespace Qv {

namespace {

constexpr auto RELAXED = std::memory_order_relaxed;
// The count in the low half of the state, the second in the high one.
constexpr int SECOND_SHIFT = 32;

constinit std::atomic<std::uint64_t> nbUntold = 0;

std::uint32_t getSecond() {
    return static_cast<std::uint32_t>(
        HwCounter::timeStamp() / static_cast<std::uint64_t>( HwCounter::getRateNumerator() ) );
}

} // namespace

LgLimit::Pass LgLimit::open() noexcept {
    const std::uint64_t nbLeftOut =
        _nbLeftOut.load( RELAXED ) != 0 ? _nbLeftOut.exchange( 0, RELAXED ) : 0;
    nbUntold.fetch_sub( nbLeftOut, RELAXED );
    return { true, nbLeftOut };
}

LgLimit::Pass LgLimit::leaveOut() noexcept {
    addUntold( 1 );
    return { false, 0 };
}

void LgLimit::addUntold( std::uint64_t number ) noexcept {
    // In this order the total is never below what a line has shown.
    nbUntold.fetch_add( number, RELAXED );
    _nbLeftOut.fetch_add( number, RELAXED );
}

void LgLimit::postpone( const Pass& pass ) noexcept {
    addUntold( pass.nbLeftOut );
}

LgLimit::Pass LgLimit::passOnce() noexcept {
    return _state.load( RELAXED ) == 0 && _state.exchange( 1, RELAXED ) == 0 ? open() : leaveOut();
}

LgLimit::Pass LgLimit::passEvery( std::uint32_t n ) noexcept {
    return _state.fetch_add( 1, RELAXED ) % std::max( n, 1U ) == 0 ? open() : leaveOut();
}

LgLimit::Pass LgLimit::passPerSecond( std::uint32_t n ) noexcept {
    std::uint32_t second = 0;
    try {
        second = getSecond();
    } catch( ... ) {
        // Without a clock nothing is left out.
        return open();
    }
    std::uint64_t state = _state.load( RELAXED );
    std::uint64_t next = 0;
    do {
        // A thread that was held up after it took the time counts in the second that is on.
        const bool isSameSecond =
            static_cast<std::int32_t>( second - ( state >> SECOND_SHIFT ) ) <= 0;
        next = isSameSecond ? state : std::uint64_t{ second } << SECOND_SHIFT;
        if( static_cast<std::uint32_t>( next ) >= n ) {
            return leaveOut();
        }
        ++next;
    } while( !_state.compare_exchange_weak( state, next, RELAXED ) );
    return open();
}

std::uint64_t LgLimit::getNbUntold() noexcept {
    return nbUntold.load( RELAXED );
}

LgStream& operator<<( LgStream& stream, const LgLimit::Pass& pass ) noexcept {
    return pass.nbLeftOut != 0 ? stream << " (left out: " << pass.nbLeftOut << ')' : stream;
}

} // namespace Qv
