#include <resmgt/osal/osProcess.h>

#include <base/failure/assertions.h>

namespace Qv {

void OsProcess::start( const char* const* argv, StartModes mode ) {
    QV_ASSERT( _engine.isNull() );
    QV_ASSERT( argv != nullptr && argv[0] != nullptr );
    QV_ASSERT( mode == ATTACHED || mode == DETACHED );
    performStart( argv, mode );
}

OsProcess::ExitState OsProcess::wait() {
    QV_ASSERT( !_engine.isNull() );
    return performWait();
}

} // namespace Qv
