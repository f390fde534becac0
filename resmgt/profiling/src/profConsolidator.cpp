#include <resmgt/profiling/profConsolidator.h>

#include <algorithm>
#include <ostream>

namespace Qv {

void ProfConsolidator::consolidate( ProfilerBase& profiler ) {
    // Without cycles its minimum is reported as 0, which isn't a time that was measured.
    if( profiler.cycles() == 0 ) {
        return;
    }
    _nbCycles += profiler.cycles();
    _totalTime += profiler.totalTime();
    _minTime = std::min( _minTime, profiler.minTime() );
    _maxTime = std::max( _maxTime, profiler.maxTime() );
}

double ProfConsolidator::averageTime() const noexcept {
    return _nbCycles == 0 ? 0.0 : _totalTime / static_cast<double>( _nbCycles );
}

std::ostream& operator<<( std::ostream& stream, const ProfConsolidator& consolidator ) {
    return stream << "Profiler Consolidator:\nNb of cycles: " << consolidator.cycles()
                  << "\nTotal time: " << consolidator.totalTime()
                  << "\nAverage time: " << consolidator.averageTime()
                  << "\nMinimum time: " << consolidator.minTime()
                  << "\nMaximum time: " << consolidator.maxTime() << '\n';
}

} // namespace Qv
