#include <resmgt/locks/lkTimedCondVarPosix.h>

#include <base/failure/assertions.h>
#include <resmgt/locks/src/lkLockRelease.h>
#include <resmgt/locks/src/lkTimedWaitEntry.h>

namespace Qv {

bool LkTimedCondVarPosix::wait( const LkLock& lock, const LkDeadline& deadline ) const {
    LkLockRelease::check( lock );
    LkTimedWaitEntry* const entry = &LkTimedWaitEntry::getEntry();
    {
        const LkGuard<const LkLock> guard( _listLock );
        LkTimedWaitLinks* const node = entry;
        QV_ASSERT_TEXT( node->getPrev() == node && node->getNext() == node,
                        "node->_prev == node && node->_next == node" );
        entry->linkBefore( _waiters );
    }
    bool isSignalled = false;
    {
        const LkLockRelease released( lock );
        try {
            isSignalled = entry->wait( deadline );
            if( !isSignalled && !leave( *entry ) ) {
                // A signaller has taken the entry off, so its signal is here or at hand. It is
                // taken now: left over, it would end this thread's next wait while that is still
                // queued.
                static_cast<void>( entry->wait( LkDeadline() ) );
            }
        } catch( ... ) {
            if( !leave( *entry ) ) {
                entry->takeSignal();
                // It is another's now.
                signal();
            }
            throw;
        }
    }
    QV_ASSERT( entry->getNext() == entry && entry->getPrev() == entry );
    return isSignalled;
}

bool LkTimedCondVarPosix::leave( LkTimedWaitLinks& entry ) const {
    const LkGuard<const LkLock> guard( _listLock );
    const bool wasOnList = entry.getNext() != &entry;
    entry.unlink();
    return wasOnList;
}

LkTimedWaitEntry* LkTimedCondVarPosix::takeOldest() const {
    if( _waiters.getNext() == &_waiters ) {
        return nullptr;
    }
    auto* const entry = static_cast<LkTimedWaitEntry*>( _waiters.getNext() );
    QV_ASSERT( entry->getNext() != entry && entry->getPrev() != entry );
    entry->unlink();
    return entry;
}

void LkTimedCondVarPosix::signal() const {
    LkTimedWaitEntry* waiter = nullptr;
    {
        const LkGuard<const LkLock> guard( _listLock );
        waiter = takeOldest();
        // Under the lock still: once signalled, the waiter may be on another list.
        QV_ASSERT( waiter == nullptr ||
                   ( waiter->getNext() == waiter && waiter->getPrev() == waiter ) );
    }
    if( waiter != nullptr ) {
        waiter->signal();
    }
}

void LkTimedCondVarPosix::broadcast() const {
    const LkGuard<const LkLock> guard( _listLock );
    while( LkTimedWaitEntry* const waiter = takeOldest() ) {
        waiter->signal();
    }
}

} // namespace Qv
