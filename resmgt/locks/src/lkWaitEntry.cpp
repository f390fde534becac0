#include <resmgt/locks/src/lkWaitEntry.h>

#include <base/failure/assertions.h>
#include <resmgt/locks/src/lkEntryPool.h>

#include <chrono>
#include <thread>

namespace Qv {

LkWaitEntry& LkWaitEntry::getEntry() {
    return LkEntryPool<LkWaitEntry>::getOwn( "LkWaitEntry::_threadData" );
}

void LkWaitEntry::abandon() {
    QV_ASSERT( _threadId.isCurrentThread() );
    _threadId.reset();
}

void LkWaitEntry::awaitUnpinnedSlowly() const noexcept {
    // A pause each; then the signaller must have lost its processor, and sleeping lets it run
    // whatever its priority is.
    for( int left = 100; _nbPins.load( std::memory_order_seq_cst ) != 0; --left ) {
        if( left > 0 ) {
            lkPause();
        } else {
            std::this_thread::sleep_for( std::chrono::microseconds( 50 ) );
        }
    }
}

} // namespace Qv
