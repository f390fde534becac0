#include <resmgt/locks/src/lkTimedWaitEntry.h>

#include <base/failure/assertions.h>
#include <resmgt/locks/lkThreadOpaqueDataFactory.h>
#include <resmgt/locks/src/lkEntryPool.h>

namespace Qv {

namespace {

void* createEntry() {
    LkTimedWaitEntry* const entry = LkEntryPool<LkTimedWaitEntry>::getInstance().take();
    entry->adopt();
    return entry;
}

void deleteEntry( void* data ) {
    LkTimedWaitEntry* const entry = static_cast<LkTimedWaitEntry*>( data );
    entry->abandon();
    LkEntryPool<LkTimedWaitEntry>::getInstance().giveBack( entry );
}

const RCShdPtr<LkThreadOpaqueData> _threadData =
    LkThreadOpaqueDataFactory::create( "WaitEntry::_threadData", &createEntry, &deleteEntry );

} // namespace

LkTimedWaitEntry& LkTimedWaitEntry::getEntry() {
    return *static_cast<LkTimedWaitEntry*>( _threadData->getPointee() );
}

void LkTimedWaitEntry::abandon() {
    QV_ASSERT( _threadId.isCurrentThread() );
    _threadId.reset();
}

} // namespace Qv
