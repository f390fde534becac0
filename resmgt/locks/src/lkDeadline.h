#pragma once

#include <chrono>
#include <cstdint>

namespace Qv {

/// When a wait that starts now gives up.
class LkDeadline {
public:
    /// No limit.
    LkDeadline() noexcept
        : _end( Clock::time_point::max() ) {}
    /// `seconds` from now, rounded to milliseconds, halves up. Negative values and what is no
    /// number are over at once; what is too large for the clock is no limit.
    explicit LkDeadline( double seconds ) noexcept
        : _end( endAfter( seconds * 1000.0 + 0.5 ) ) {}

    bool isNever() const noexcept { return _end == Clock::time_point::max(); }
    /// What is left; zero or less when it is over.
    std::chrono::nanoseconds getRemaining() const noexcept { return _end - Clock::now(); }
    /// Spares the clock where there is no limit.
    bool isOver() const noexcept { return !isNever() && getRemaining().count() <= 0; }

private:
    using Clock = std::chrono::steady_clock;

    // 126 years: as nanoseconds since the machine's start it fits 63 bits.
    static constexpr double MAX_MILLISECONDS = 4.0e12;

    static Clock::time_point endAfter( double milliseconds ) noexcept {
        if( milliseconds >= MAX_MILLISECONDS ) {
            return Clock::time_point::max();
        }
        // Written so that no number fails the test too. The clock starts at zero with the machine.
        if( !( milliseconds >= 1.0 ) ) {
            return Clock::time_point();
        }
        return Clock::now() +
               std::chrono::milliseconds( static_cast<std::int64_t>( milliseconds ) );
    }

    Clock::time_point _end;
};

} // namespace Qv
