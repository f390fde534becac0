#pragma once

#include <resmgt/threads/mtThreadTimes.h>

namespace Qv {

/// A stopwatch for one thread's times, in seconds; what it measures between its starts and stops
/// adds up.
///
/// Threads: used on the thread that it measures.
class QV_RESMGT_API MtThreadTimer {
public:
    /// Asks a constructor to start the timer.
    enum StartImmediatelyType { START_IMMEDIATELY };

    /// Stopped, with nothing measured.
    MtThreadTimer() = default;
    /// Running.
    explicit MtThreadTimer( StartImmediatelyType );

    /// Without effect while it runs.
    void start();
    /// Without effect while it is stopped.
    void stop();
    /// Stops it and forgets all, the time since the last start too.
    void reset() noexcept;

    /// The measured time, including that since the last start.
    double realTime() const;
    /// User and kernel time together.
    double cpuTime() const;
    /// Seconds of the processor in the system.
    double cpuKernelTime() const;
    /// Seconds of the processor in the program.
    double cpuUserTime() const;
    /// The smallest step, in seconds.
    static double resolution() noexcept { return MtThreadTimes::resolution(); }

private:
    enum State { RUNNING = 0, STOPPED = 1 };
    using Difference = double ( * )( const MtThreadTimes&, const MtThreadTimes& );

    double measured( double sum, Difference difference ) const;

    State _state = STOPPED;
    MtThreadTimes _startSplit;
    double _realTime = 0.0;
    double _kernelTime = 0.0;
    double _userTime = 0.0;
};

} // namespace Qv
