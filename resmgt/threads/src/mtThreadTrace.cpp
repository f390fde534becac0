#include <resmgt/threads/src/mtThreadTrace.h>

namespace Qv {

TraceLevel& MtThreadTrace::getLevel() {
    static TraceLevel& level = *Trace::registerLevel( "MtThread", "mtThread.cpp" );
    return level;
}

bool MtThreadTrace::isOn() noexcept {
    try {
        return Trace::isEnabled( getLevel() );
    } catch( ... ) {
        return false;
    }
}

} // namespace Qv
