#pragma once

#include <resmgt/profiling/periodicTimer.h>

namespace Qv {

/// Has no timer of the system: the beats are moments of the clock, and a wait sleeps until one.
class PeriodicTimerPosix final : public PeriodicTimer {
public:
    explicit PeriodicTimerPosix( double interval );

    double getCurrentTime() const override;
    std::uint64_t getCurrentCount() const override;
    void wait() const override;
    void waitForCount( std::uint64_t count ) const override;

    /// When the beat `count` is due, by PrClockPosix. A count that is further away than the longest
    /// interval is as good as never reached.
    std::int64_t momentOf( std::uint64_t count ) const noexcept;

private:
    std::int64_t elapsed( const char* location ) const;

    /// Both in nanoseconds.
    const std::int64_t _step;
    const std::int64_t _start;
};

} // namespace Qv
