#pragma once

#include <resmgt/resmgtApi.h>

#include <cstdint>
#include <iosfwd>

namespace Qv {

class HwCounterEng;

/// The library's time base: ticks of a steady counter, at a rate that an int holds.
///
///     const std::uint64_t begin = HwCounter::timeStamp();
///     work();
///     const double lasted = HwCounter::seconds( begin, HwCounter::timeStamp() );
///
/// Steady:  stamps never go back, also from processor to processor (OsCpuInfo).
/// Threads: any, also before the packages start: the first use builds what is needed.
/// Errors:  ExSysErrorANSI when the counter can't be read.
/// Cost:    timeStamp is a virtual call and a shift around the counter's reading.
class QV_RESMGT_API HwCounter {
public:
    HwCounter() = delete;

    /// The counter as it stands.
    static std::uint64_t timeStamp();
    /// The time from stamp `t0` to stamp `t1` in seconds; negative when `t1` is the earlier one.
    static double seconds( std::uint64_t t0, std::uint64_t t1 );
    /// The present stamp in seconds.
    static double seconds();
    /// Seconds a tick.
    static double resolution();
    /// The rate in ticks a second is the numerator over the denominator, which is 1.
    static int getRateNumerator();
    static int getRateDenominator();
    /// Two lines: rate and cycle.
    static void dump( std::ostream& stream );

private:
    static const HwCounterEng& getEngine();
};

} // namespace Qv
