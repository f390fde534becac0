#include <resmgt/profiling/profiler.h>

#include <resmgt/profiling/profiler.imp>

#include <ostream>

namespace Qv {

template class QV_INSTANCE_API Profiler<HwIntervalTimer>;
template class QV_INSTANCE_API Profiler<TodIntervalTimer>;

std::ostream& operator<<( std::ostream& stream, const ProfilerBase& profiler ) {
    return stream << profiler.getName() << "\nNb of cycles: " << profiler.cycles()
                  << "\nTotal time: " << profiler.totalTime()
                  << "\nAverage time: " << profiler.averageTime()
                  << "\nMinimum time: " << profiler.minTime()
                  << "\nMaximum time: " << profiler.maxTime()
                  << "\nStandard dev: " << profiler.standardDeviation() << '\n';
}

void ProfilerBase::printLine( std::ostream& stream ) const {
    stream << getName() << ": cyc:" << cycles() << " tot:" << totalTime()
           << " avg:" << averageTime() << " min: " << minTime() << " max:" << maxTime()
           << " dev:" << standardDeviation();
}

} // namespace Qv
