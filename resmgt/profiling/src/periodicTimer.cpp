#include <resmgt/profiling/periodicTimer.h>

#include <base/failure/assertions.h>

namespace Qv {

OPtrRet<PeriodicTimer> PeriodicTimer::create( double interval ) {
    QV_ASSERT( interval >= getResolution() );
    return performCreate( interval );
}

} // namespace Qv
