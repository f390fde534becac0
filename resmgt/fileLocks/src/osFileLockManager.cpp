#include <resmgt/fileLocks/osFileLockManager.h>

#include <base/failure/assertions.h>
#include <base/init/inSingleton.imp>
#include <resmgt/fileLocks/src/osFileLockImp.h>
#include <resmgt/fileLocks/src/osFileLockManagerImp.h>
#include <resmgt/fileLocks/src/runStep.h>
#include <resmgt/logger/lgGroups.h>
#include <resmgt/logger/qvLog.h>
#include <resmgt/threadExtensions/mtAlarmManager.h>
#include <resmgt/threads/mtThreadFactory.h>

namespace Qv {

template class InSingleton<OsFileLockManager>;

namespace {

using Singleton = InSingleton<OsFileLockManager>;

} // namespace

OsFileLockManager& OsFileLockManager::getInstance() {
    return Singleton::getInstance();
}

bool OsFileLockManager::isInitialized() noexcept {
    return Singleton::isInitialized();
}

void OsFileLockManager::initialize() {
    Singleton::initialize( OPtr<OsFileLockManager>( new OsFileLockManager ) );
    try {
        getInstance().start();
    } catch( ... ) {
        Singleton::finalize();
        throw;
    }
}

void OsFileLockManager::finalize() {
    getInstance().stop();
    Singleton::finalize();
}

OsFileLockManager::OsFileLockManager()
    : _alarm( "Refresh File Locks (OsFileLockManager)" )
    , _alarmCallback( *this, &OsFileLockManager::requestRefresh )
    , _refreshHandler( *this, &OsFileLockManager::refreshAll ) {}

OsFileLockManager::~OsFileLockManager() = default;

void OsFileLockManager::start() {
    const int interval = getRefreshInterval();
    const int life = getMaximumLife();
    if( life / 2 < interval ) {
        QV_LOG( FileLocks, Warning, "File locks that live ", life, " s and are refreshed every ",
                interval,
                " s may be taken from their holders: let them live at least twice as "
                "long as the time between refreshes" );
    }
    OPtr<Imp> imp( new Imp( *this ) );
    _imp = imp.get();
    OPtr<MtThreadProtocol> protocol( imp );
    _thread = MtThreadFactory::getInstance().createThread( "FileLockThread", protocol, true, 0 );
    _thread->start();
    const LkGuard<const LkLock> guard( _lock );
    arm();
}

void OsFileLockManager::stop() {
    MtAlarmHandle alarm;
    {
        const LkGuard<const LkLock> guard( _lock );
        _isStopping = true;
        alarm = _alarm;
        _alarm = MtAlarmHandle();
    }
    MtAlarmManager::getInstance().cancelAlarm( alarm );
    _thread->stop();
    _thread->join();
    _thread.reset();
}

OPtrRet<OsFileLock> OsFileLockManager::acquire( const OsFilePath& lockPath ) {
    const RCStrongPtr<OsFileLockImp> imp( new OsFileLockImp( lockPath ) );
    if( !imp->isLocked() ) {
        return OPtr<OsFileLock>();
    }
    OPtr<OsFileLock> lock( new OsFileLock( imp ) );
    const LkGuard<const LkLock> guard( _lock );
    _locks.insert( RCWeakPtr<OsFileLockImp>( imp ) );
    return lock;
}

void OsFileLockManager::remove( const RCWeakPtr<OsFileLockImp>& lock ) {
    const LkGuard<const LkLock> guard( _lock );
    _locks.erase( lock );
}

void OsFileLockManager::refreshAll() {
    bool mustConfirm = false;
    const LkGuard<const LkLock> guard( _lock );
    for( const RCWeakPtr<OsFileLockImp>& weak : _locks ) {
        runStep( "The refresh of a file lock", [&] {
            const RCStrongPtr<OsFileLockImp> ptr( weak );
            QV_ASSERT( !ptr.isNull() );
            mustConfirm = ptr->refresh() || mustConfirm;
        } );
    }
    arm();
    if( mustConfirm ) {
        _imp->requestConfirmation();
    }
}

void OsFileLockManager::confirmAll() {
    bool mustConfirm = false;
    const LkGuard<const LkLock> guard( _lock );
    for( const RCWeakPtr<OsFileLockImp>& weak : _locks ) {
        runStep( "The confirmation of a file lock", [&] {
            const RCStrongPtr<OsFileLockImp> ptr( weak );
            QV_ASSERT( !ptr.isNull() );
            mustConfirm = ptr->confirm() || mustConfirm;
        } );
    }
    if( _isUnarmed ) {
        arm();
    }
    if( mustConfirm ) {
        _imp->requestConfirmation();
    }
}

void OsFileLockManager::arm() {
    if( _isStopping ) {
        return;
    }
    MtAlarmHandle alarm = _alarm;
    _isUnarmed = !runStep( "The alarm of the file locks", [&] {
        alarm.setDuration( getRefreshInterval() );
        alarm.setRequestedRepeats( 0 );
        alarm.setCallback( &_alarmCallback );
        MtAlarmManager::getInstance().registerAlarm( alarm );
    } );
    if( _isUnarmed ) {
        _imp->requestConfirmation();
    }
}

void OsFileLockManager::requestRefresh() {
    _imp->requestRefresh();
}

} // namespace Qv
