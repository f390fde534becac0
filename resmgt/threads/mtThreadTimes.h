#pragma once

#include <resmgt/resmgtApi.h>

#include <cstdint>

namespace Qv {

class MtThread;

/// How much processor time a thread had used at a moment, and that moment.
///
/// Units:   three counts of 100 ns; the differences are in seconds. The sum of kernel and user time
///          is exact. Posix: another thread's is divided between them to 10 ms.
/// Wall:    a steady clock, which nobody sets.
/// Threads: any.
/// Errors:  a system assertion when the system refuses.
class QV_RESMGT_API MtThreadTimes {
public:
    /// All three are 0.
    MtThreadTimes() = default;

    /// Of the calling thread.
    static MtThreadTimes timeSplit();
    /// Of another: what it has used since its start, also when its body has ended; none when it
    /// isn't running, nor for an external thread.
    static MtThreadTimes timeSplit( const MtThread& thread );

    /// From `a` to `b`, in seconds.
    static double cpuUserTime( const MtThreadTimes& a, const MtThreadTimes& b ) noexcept;
    /// Seconds of the processor in the system, between `a` and `b`.
    static double cpuKernelTime( const MtThreadTimes& a, const MtThreadTimes& b ) noexcept;
    /// User and kernel time together.
    static double cpuTime( const MtThreadTimes& a, const MtThreadTimes& b ) noexcept;
    /// Seconds between `a` and `b`.
    static double realTime( const MtThreadTimes& a, const MtThreadTimes& b ) noexcept;

    /// The system's tick in seconds. REQUIRES: the package is started.
    static double resolution() noexcept;
    static bool isImplemented() noexcept { return true; }
    /// At the package's start and stop.
    static void initialize();
    /// Ends the measurement, at the package's stop.
    static void finalize() noexcept;

private:
    static std::uint64_t performReadWallClock();

    std::uint64_t _kernelTime = 0;
    std::uint64_t _userTime = 0;
    std::uint64_t _wallClock = 0;
};

} // namespace Qv
