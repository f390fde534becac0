#pragma once

#include <resmgt/resmgtApi.h>

#include <atomic>
#include <cstdint>

namespace Qv {

class LkDeadline;

/// The operating-system face of LkEvent: one word, without a descriptor.
///
/// Bit 0 says whether it is set, bit 1 whether somebody may be asleep on the word; the rest counts
/// how often it went from unset to set, so that a waiter learns of a set that was reset at once. (A
/// waiter that sleeps through exactly 2^30 of them learns of none.)
///
/// Order: a set releases, and a thread that passes acquires; a reset orders nothing.
class QV_RESMGT_API LkEventPosix {
public:
    LkEventPosix( const char* name, bool initialState ) noexcept
        : _name( name )
        , _word( initialState ? IS_SET : 0 ) {}
    LkEventPosix( const LkEventPosix& ) = delete;
    LkEventPosix& operator=( const LkEventPosix& ) = delete;

    /// Lets all through that wait, and all that come.
    void set();
    /// Waits block again.
    void reset();
    /// False when the deadline came first.
    bool wait( const LkDeadline& deadline ) const;
    bool isSet() const noexcept {
        return ( _word.load( std::memory_order_relaxed ) & IS_SET ) != 0;
    }
    const char* getName() const noexcept { return _name; }

private:
    static constexpr std::uint32_t IS_SET = 1;
    static constexpr std::uint32_t HAS_SLEEPERS = 2;
    static constexpr std::uint32_t COUNT_ONE = 4;

    const char* const _name;
    mutable std::atomic<std::uint32_t> _word;
};

} // namespace Qv
