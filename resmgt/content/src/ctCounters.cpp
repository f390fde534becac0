#include <resmgt/content/ctCounters.h>

#include <ostream>

namespace Qv {

std::ostream& operator<<( std::ostream& stream, const CtCounters& counters ) {
    return stream << "reads " << counters.nbReads << " bytes " << counters.nbBytesRead << " writes "
                  << counters.nbWrites << " bytes " << counters.nbBytesWritten << " asynchronous "
                  << counters.nbAsync << " failures " << counters.nbFailures << " waits "
                  << counters.nbWaits << " open files " << counters.nbOpenFiles;
}

CtTally::CtTally() = default;

CtTally::~CtTally() = default;

CtCounters CtTally::getCounters() const noexcept {
    const auto get = []( const Counter& counter ) {
        return counter.load( std::memory_order_relaxed );
    };
    CtCounters counters;
    counters.nbReads = get( _nbReads );
    counters.nbWrites = get( _nbWrites );
    counters.nbBytesRead = get( _nbBytesRead );
    counters.nbBytesWritten = get( _nbBytesWritten );
    counters.nbAsync = get( _nbAsync );
    counters.nbFailures = get( _nbFailures );
    counters.nbWaits = get( _nbWaits );
    counters.nbOpenFiles = get( _nbOpenFiles );
    return counters;
}

} // namespace Qv
