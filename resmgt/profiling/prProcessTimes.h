#pragma once

#include <resmgt/resmgtApi.h>

#include <cstdint>

namespace Qv {

/// How much time this process, with all its threads, had used at a moment: that of construction.
///
/// Threads: any.
/// Errors:  ExSysErrorWindows when the system refuses.
class QV_RESMGT_API PrProcessTimes {
public:
    PrProcessTimes();

    /// From `a` to `b`, in seconds: processor time in the program's own code, in the system's on
    /// its behalf, and time on the wall.
    static double cpuUserTime( const PrProcessTimes& a, const PrProcessTimes& b ) noexcept {
        return b._user - a._user;
    }
    /// Seconds of the processor in the system, between `a` and `b`.
    static double cpuKernelTime( const PrProcessTimes& a, const PrProcessTimes& b ) noexcept {
        return b._kernel - a._kernel;
    }
    /// Seconds between `a` and `b`.
    static double realTime( const PrProcessTimes& a, const PrProcessTimes& b );

    /// At the package's start and stop.
    static void initialize();
    /// Ends the measurement, at the package's stop.
    static void finalize() noexcept;
    /// The system's resolution of user and kernel time, in seconds. REQUIRES: the package is
    /// started.
    static double resolution();

private:
    void performRead();
    static double performGetResolution();

    /// In seconds.
    double _user = 0.0;
    double _kernel = 0.0;
    std::uint64_t _stamp;
};

/// A stopwatch for the process's times, in seconds from the last start, or the construction, to the
/// last stop; 0.0 before it.
class QV_RESMGT_API PrProcessTimer {
public:
    PrProcessTimer()
        : _stop( _start ) {}

    /// Begins the interval.
    void start();
    /// Ends the interval.
    void stop();

    /// Seconds of the processor in the program.
    double cpuUserTime() const noexcept { return PrProcessTimes::cpuUserTime( _start, _stop ); }
    /// Seconds of the processor in the system.
    double cpuKernelTime() const noexcept { return PrProcessTimes::cpuKernelTime( _start, _stop ); }
    /// User and kernel time together.
    double cpuTime() const noexcept { return cpuUserTime() + cpuKernelTime(); }
    /// Seconds from start to stop.
    double realTime() const { return PrProcessTimes::realTime( _start, _stop ); }
    /// The smallest step, in seconds.
    static double resolution() { return PrProcessTimes::resolution(); }

private:
    PrProcessTimes _start;
    PrProcessTimes _stop;
};

} // namespace Qv
