#pragma once

#include <cstdint>

namespace Qv {

/// The clock that sleepers and periodic timers go by, CLOCK_MONOTONIC, in nanoseconds. Every
/// `location` is that of the operation whose failure an ExSysErrorWindows reports.
namespace PrClockPosix {

constexpr std::int64_t NS_PER_SECOND = 1'000'000'000;
/// A hundred years: any reading of the clock and this sum up without overflow.
constexpr std::int64_t MAX_INTERVAL = NS_PER_SECOND * 3600 * 24 * 36525;

std::int64_t now( const char* location );
/// In seconds.
double resolution( const char* location );
/// The tick of the system's coarse time, in seconds.
double systemTick( const char* location );
/// `seconds` rounded to nanoseconds, within 0 and MAX_INTERVAL; 0 for what isn't a number.
std::int64_t toInterval( double seconds ) noexcept;
/// Returns when the clock has reached `deadline`, whatever signals come.
void sleepUntil( std::int64_t deadline, const char* location );

/// While it lives, the system wakes this thread as soon as it can when a time is over.
class LeastTimerSlack {
public:
    LeastTimerSlack() noexcept;
    LeastTimerSlack( const LeastTimerSlack& ) = delete;
    LeastTimerSlack& operator=( const LeastTimerSlack& ) = delete;
    ~LeastTimerSlack();

private:
    /// In nanoseconds; not above 0 for a real-time thread, which has no slack.
    const int _before;
};

} // namespace PrClockPosix

} // namespace Qv
