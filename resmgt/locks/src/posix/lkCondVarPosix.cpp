#include <resmgt/locks/lkCondVarPosix.h>

#include <resmgt/locks/src/lkLockRelease.h>
#include <resmgt/locks/src/lkWaitList.h>

namespace Qv {

void LkCondVarPosix::wait( const LkLock& lock ) const {
    LkLockRelease::check( lock );
    LkWaitEntry& entry = LkWaitEntry::getEntry();
    LkWaitList::push( _waiters, entry );
    const LkLockRelease released( lock );
    try {
        entry.wait();
    } catch( ... ) {
        // Nothing leaves the middle of a stack, and a signal may be on its way to this entry: all
        // are woken, so that none stays queued without its thread and no signal is lost.
        LkWaitList::wakeAll( _waiters );
        entry.takeSignal();
        throw;
    }
}

void LkCondVarPosix::wakeNewest() const {
    LkWaitList::wakeNewest( _waiters );
}

void LkCondVarPosix::wakeAll() const {
    LkWaitList::wakeAll( _waiters );
}

} // namespace Qv
