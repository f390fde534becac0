#include <base/ownership/ownershipDelete.h>

#include <base/failure/qvHere.h>
#include <base/trace/trace.h>

namespace Qv {

void Ownership::reportFailedDestructor() noexcept {
    Trace::printCurrentException( "a destructor", QV_HERE );
}

} // namespace Qv
