#include <resmgt/threadExtensions/mtPoolSnapshot.h>

#include <ostream>

namespace Qv {

std::ostream& operator<<( std::ostream& stream, const MtPoolSnapshot& snapshot ) {
    return stream << "queued " << snapshot.nbQueued << " most " << snapshot.mostQueued
                  << " running " << snapshot.nbRunning << " done " << snapshot.nbDone
                  << " discarded " << snapshot.nbDiscarded << " blocked producers "
                  << snapshot.nbBlockedProducers << " waits " << snapshot.nbWaits
                  << " longest wait " << snapshot.longestWait << " s";
}

} // namespace Qv
