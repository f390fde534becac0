#include <resmgt/locks/src/lkTimedWaitEntry.h>

#include <base/failure/assertions.h>
#include <resmgt/locks/src/lkEntryPool.h>

namespace Qv {

LkTimedWaitEntry& LkTimedWaitEntry::getEntry() {
    return LkEntryPool<LkTimedWaitEntry>::getOwn( "WaitEntry::_threadData" );
}

void LkTimedWaitEntry::abandon() {
    QV_ASSERT( _threadId.isCurrentThread() );
    _threadId.reset();
}

} // namespace Qv
