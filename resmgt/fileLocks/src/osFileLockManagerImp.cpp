#include <resmgt/fileLocks/src/osFileLockManagerImp.h>

#include <resmgt/fileLocks/src/osFileLockImp.h>
#include <resmgt/threadExtensions/mtAlarmManager.h>
#include <resmgt/threads/mtThread.h>
#include <resmgt/threads/priority.h>

namespace Qv {

OsFileLockManager::Imp::Imp( OsFileLockManager& manager )
    : _manager( manager ) {}

void OsFileLockManager::Imp::push( int command ) {
    const LkGuard<const LkLock> guard( _lock );
    _commands.push_back( command );
    _requestsAvailable.broadcast();
}

void OsFileLockManager::Imp::requestConfirmation() {
    const LkGuard<const LkLock> guard( _lock );
    // Requests that come again and again don't put off the one that is due.
    if( _confirmTime == 0 ) {
        _confirmTime =
            getLockClock() + static_cast<std::int64_t>( OsFileLockImp::CONFIRM_SECONDS * 1e9 );
        _requestsAvailable.broadcast();
    }
}

int OsFileLockManager::Imp::takeCommand() {
    const LkGuard<const LkLock> guard( _lock );
    while( _commands.empty() ) {
        if( _confirmTime == 0 ) {
            _requestsAvailable.wait( guard );
            continue;
        }
        const std::int64_t left = _confirmTime - getLockClock();
        if( left <= 0 ) {
            _confirmTime = 0;
            return CONFIRM;
        }
        // A millisecond more, to which waits are rounded.
        _requestsAvailable.timedWait( guard, static_cast<double>( left ) * 1e-9 + 1e-3 );
    }
    const int command = _commands.front();
    _commands.pop_front();
    return command;
}

void OsFileLockManager::Imp::performExecute( MtThread* ) {
    while( !_isStopping ) {
        switch( takeCommand() ) {
        case REFRESH:
            _manager.refreshAll();
            break;
        case CONFIRM:
            _manager.confirmAll();
            break;
        default:
            _isStopping = true;
            break;
        }
    }
}

void OsFileLockManager::Imp::performStop( MtThread* ) {
    push( STOP );
}

void OsFileLockManager::Imp::performAttach( MtThread* thread ) {
    _relation.reset( new PriorityRelation( "equalToAlarmManager",
                                           MtAlarmManager::getInstance().getPriority(),
                                           PriorityRelation::EQUAL, thread->getPriority() ) );
}

void OsFileLockManager::Imp::performDetach( MtThread* ) {
    _relation.reset();
}

} // namespace Qv
