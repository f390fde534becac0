#include <base/failure/exStandard.h>
#include <base/failure/qvHere.h>
#include <base/ownership/ownershipDelete.h>
#include <base/trace/traceManager.h>

namespace Qv {

void Ownership::reportFailedDestructor() noexcept {
    try {
        Trace& trace = TraceManager::getInstance().getTrace();
        try {
            throw;
        } catch( const ExBase& exception ) {
            trace.printException( exception, QV_HERE );
        } catch( const std::exception& exception ) {
            trace.printException( ExCaughtException( QV_HERE, "a destructor",
                                                     typeid( exception ).name(), exception.what() ),
                                  QV_HERE );
        }
    } catch( ... ) {
        // Nothing is left to report it with.
    }
}

} // namespace Qv
