#include <resmgt/logger/lgStream.h>
#include <resmgt/profiling/profiler.h>

#include <array>
#include <cstdio>

namespace Qv {

LgStream& operator<<( LgStream& stream, const ProfilerBase& profiler ) {
    const struct {
        const char* label;
        double value;
    } times[] = {
        { "\n        Total time  :   ", profiler.totalTime() },
        { "\n        Average time:   ", profiler.averageTime() },
        { "\n        Minimum time:   ", profiler.minTime() },
        { "\n        Maximum time:   ", profiler.maxTime() },
        { "\n        Standard dev:   ", profiler.standardDeviation() },
    };
    stream << "Profiler " << profiler.getName()
           << "\n        Nb of cycles:   " << profiler.cycles();
    for( const auto& time : times ) {
        // The largest double has 309 digits before the point.
        std::array<char, 330> number;
        std::snprintf( number.data(), number.size(), "%.9f", time.value );
        stream << time.label << number.data();
    }
    return stream;
}

} // namespace Qv
