#pragma once

#include <resmgt/profiling/profiler.h>

#include <cstdint>
#include <iosfwd>
#include <limits>

namespace Qv {

/// Several profilers in one report, as if all their cycles were one profiler's.
///
/// Units:   all times are in seconds.
/// Threads: one at a time; `consolidate` reads a profiler that nobody uses meanwhile.
class QV_RESMGT_API ProfConsolidator {
public:
    ProfConsolidator() noexcept = default;
    virtual ~ProfConsolidator() = default;

    /// Adds the cycles that `profiler` has ended; one without any changes nothing.
    virtual void consolidate( ProfilerBase& profiler );

    /// How many intervals there were.
    std::uint64_t cycles() const noexcept { return _nbCycles; }
    /// The sum of the intervals, in seconds.
    double totalTime() const noexcept { return _totalTime; }
    /// This and the two that follow are 0.0 without a cycle.
    double minTime() const noexcept { return _nbCycles == 0 ? 0.0 : _minTime; }
    /// The longest interval, in seconds.
    double maxTime() const noexcept { return _maxTime; }
    /// The mean interval, in seconds.
    double averageTime() const noexcept;

private:
    std::uint64_t _nbCycles = 0;
    double _totalTime = 0.0;
    double _minTime = std::numeric_limits<double>::max();
    double _maxTime = 0.0;
};

QV_RESMGT_API std::ostream& operator<<( std::ostream& stream,
                                        const ProfConsolidator& consolidator );

} // namespace Qv
