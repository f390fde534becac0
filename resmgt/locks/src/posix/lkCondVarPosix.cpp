#include <resmgt/locks/lkCondVarPosix.h>

#include <resmgt/locks/src/lkLockRelease.h>
#include <resmgt/locks/src/lkWaitList.h>

namespace Qv {

void LkCondVarPosix::wait( const LkLock& lock ) const {
    LkLockRelease::check( lock );
    LkWaitEntry& entry = LkWaitEntry::getEntry();
    LkWaitList::push( _waiters, entry );
    const LkLockRelease released( lock );
    entry.wait();
}

void LkCondVarPosix::wakeNewest() const {
    LkWaitList::wakeNewest( _waiters );
}

void LkCondVarPosix::wakeAll() const {
    LkWaitList::wakeAll( _waiters );
}

} // namespace Qv
