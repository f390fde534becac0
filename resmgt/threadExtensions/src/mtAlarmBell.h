#pragma once

#include <atomic>
#include <cstdint>

namespace Qv {

/// What one thread sleeps at until a time, to the timer's resolution; a ring ends the sleep early.
class MtAlarmBell {
public:
    static constexpr std::int64_t NEVER = INT64_MAX;

    /// From now on the calling thread's sleeps end as exactly as the system can.
    static void prepareThread() noexcept;

    /// From any thread. Ends the sleep, or the next one if nobody sleeps.
    void ring();
    /// Returns at `time`, in nanoseconds of the steady clock, or after a ring; may return early.
    /// Errors: both raise a system assertion.
    void sleepUntil( std::int64_t time );

private:
    // 1 from a ring until a sleep has seen it. Release and acquire: who sees the ring sees what the
    // ringer did before. Both set it by an exchange, so that no ring falls between.
    std::atomic<std::uint32_t> _isRung{ 0 };
};

} // namespace Qv
