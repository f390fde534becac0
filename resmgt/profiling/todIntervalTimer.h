#pragma once

#include <resmgt/profiling/intervalTimer.h>

namespace Qv {

/// Measures with the time of day, as other machines that share a time server see it. A clock that
/// is set meanwhile shows in the result, which may be negative then.
class QV_RESMGT_API TodIntervalTimer : public IntervalTimer {
public:
    /// A reading of the time of day.
    class QV_RESMGT_API NativeTimer {
    public:
        NativeTimer() noexcept { refresh(); }

        /// Reads the time of day anew.
        void refresh() noexcept;
        /// Seconds from `begin` to this reading.
        double since( const NativeTimer& begin ) const noexcept {
            return _seconds - begin._seconds + ( _milliseconds - begin._milliseconds ) / 1000.0;
        }

    private:
        /// Whole seconds since the start of 1970.
        double _seconds;
        /// The rest, with its fraction.
        double _milliseconds;
    };

    explicit TodIntervalTimer( const char* name );

    void start() override;
    void stop() override;
    double timeInterval() const override;
    double sinceStart() const override;

private:
    NativeTimer _start;
    NativeTimer _stop;
};

} // namespace Qv
