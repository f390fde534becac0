#pragma once

#include <base/qvBaseApi.h>
#include <resmgt/profiling/hwIntervalTimer.h>
#include <resmgt/profiling/todIntervalTimer.h>

#include <cstdint>
#include <iosfwd>

namespace Qv {

class LgStream;

/// Statistics over the times of cycles. One cycle may hold several pairs of start and stop:
///
///     Profiler<HwIntervalTimer> profiler( "decode" );
///     for( const Tile& tile : tiles ) {
///         profiler.start();
///         decode( tile );
///         profiler.stop();
///         profiler.endCycle();
///     }
///     std::cout << profiler;
///
/// Units:    all times are in seconds.
/// Threads:  one at a time.
/// Lifetime: the name is kept, not copied.
class QV_RESMGT_API ProfilerBase {
public:
    virtual ~ProfilerBase() = default;

    virtual void setName( const char* name ) = 0;
    virtual const char* getName() const = 0;
    /// Begins an interval.
    virtual void start() = 0;
    /// Adds the time since the last start to the cycle's.
    virtual void stop() = 0;
    /// Enters the cycle's time in the statistics, and begins the next cycle.
    virtual void endCycle() = 0;
    /// Forgets all but the name.
    virtual void reset() = 0;
    /// The time of the cycle that hasn't ended.
    virtual double currentTime() const = 0;
    /// The sum of the intervals, in seconds.
    virtual double totalTime() const = 0;
    /// This and the two that follow are 0.0 without a cycle.
    virtual double averageTime() const = 0;
    /// The shortest interval, in seconds.
    virtual double minTime() const = 0;
    /// The longest interval, in seconds.
    virtual double maxTime() const = 0;
    /// Of the cycles as a sample of all that could be; 0.0 with fewer than two.
    virtual double standardDeviation() const = 0;
    /// How many intervals there were.
    virtual std::uint32_t cycles() const = 0;

    /// The report on one line, without its end.
    void printLine( std::ostream& stream ) const;
};

/// The report on several lines, the name first.
QV_RESMGT_API std::ostream& operator<<( std::ostream& stream, const ProfilerBase& profiler );
/// The report in a log statement, times with nine decimals; the package logger defines it:
///
///     QV_LOG( Content, Profiling, profiler );
QV_RESMGT_API LgStream& operator<<( LgStream& stream, const ProfilerBase& profiler );

/// Measures with a `T`: HwIntervalTimer or TodIntervalTimer. For a `T` of one's own, include
/// profiler.imp.
template <class T>
class QV_TEMPLATE_API Profiler : public ProfilerBase {
public:
    explicit Profiler( const char* name );

    void setName( const char* name ) override;
    const char* getName() const override;
    void start() override;
    void stop() override;
    void endCycle() override;
    void reset() override;
    double currentTime() const override;
    double totalTime() const override;
    double averageTime() const override;
    double minTime() const override;
    double maxTime() const override;
    double standardDeviation() const override;
    std::uint32_t cycles() const override;

private:
    T _timer;
    double _currentTime;
    double _totalTime;
    double _sumOfSquares;
    double _minTime;
    double _maxTime;
    std::uint32_t _nbCycles;
};

extern template class Profiler<HwIntervalTimer>;
extern template class Profiler<TodIntervalTimer>;

} // namespace Qv
