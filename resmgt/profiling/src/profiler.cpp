#include <resmgt/profiling/profiler.h>

#include <resmgt/profiling/profiler.imp>

#include <cstdio>
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

std::string ProfilerBase::getLogText() const {
    const struct {
        const char* label;
        double value;
    } times[] = {
        { "        Total time  :   ", totalTime() },
        { "        Average time:   ", averageTime() },
        { "        Minimum time:   ", minTime() },
        { "        Maximum time:   ", maxTime() },
        { "        Standard dev:   ", standardDeviation() },
    };
    std::string text = std::string( "Profiler " ) + getName() +
                       "\n        Nb of cycles:   " + std::to_string( cycles() ) + '\n';
    for( const auto& time : times ) {
        // The largest double has 309 digits before the point.
        char number[330];
        std::snprintf( number, sizeof( number ), "%.9f", time.value );
        text.append( time.label ).append( number ).append( 1, '\n' );
    }
    return text;
}

} // namespace Qv
