#include <resmgt/fileLocks/src/osFileLockImp.h>

#include <base/failure/exSysError.h>
#include <base/init/inBuildInfoMgr.h>
#include <base/init/inBuildInfoUtil.h>
#include <resmgt/fileLocks/osFileLockManager.h>
#include <resmgt/fileLocks/src/runStep.h>
#include <resmgt/logger/lgGroups.h>
#include <resmgt/logger/qvLog.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/osFsUtils.h>
#include <resmgt/osal/osUtils.h>
#include <resmgt/profiling/sleeper.h>
#include <resmgt/threadExtensions/mtAlarmManager.h>
#include <resmgt/xml/xmlWriter.h>

#include <algorithm>
#include <exception>
#include <sstream>
#include <string_view>
#include <utility>

namespace Qv {

namespace {

using Look = OsLockFile::Look;
using Kind = OsLockFile::Kind;
using Moving = OsLockFile::Moving;
using Place = OsLockFile::Place;

constexpr std::int64_t NS_PER_SECOND = OsDateTypes::DateRep::NS_PER_SECOND;
constexpr auto CONFIRM_NS = static_cast<std::int64_t>( OsFileLockImp::CONFIRM_SECONDS * 1e9 );

/// The application's record or, where it has registered none, the library's own.
const InBuildInfo* findBuildInfo() {
    if( InBuildInfoMgr::isAppInfoRegistered() ) {
        return &InBuildInfoMgr::getAppInfo();
    }
    for( const InBuildInfo* const info : InBuildInfoUtil::getInfos() ) {
        if( std::string_view( info->getLibraryName() ) == "libQvresmgt" ) {
            return info;
        }
    }
    return nullptr;
}

/// The lock file's content, which is for people.
std::string makeText() {
    struct Holder {
        const std::string host = OsUtils::getHostName();
        const std::string user = OsUtils::getUserName( true );
    };
    // Once: to find an account's name may be to ask a server.
    static const Holder holder;
    std::ostringstream stream;
    XmlWriter writer( stream, 0 );
    const InBuildInfo* const info = findBuildInfo();
    writer.openTag( "OmLock" );
    writer.writeAttrib( "build", info != nullptr ? info->getBuildInformationString() : "" );
    writer.writeAttrib( "process", info != nullptr ? info->getProductName() : "" );
    writer.writeAttrib( "host", holder.host );
    writer.writeAttrib( "user", holder.user );
    writer.closeTag();
    return std::move( stream ).str();
}

/// Whether a file of that time has reached the maximum life. The file's may be any time.
bool isOver( const OsDateTypes::DateRep& time, const OsDateTypes::DateRep& serverTime ) {
    const int life = OsFileLockManager::getMaximumLife();
    return time <=
           OsDateTypes::DateRep( serverTime.getSeconds() - life, serverTime.getNanoseconds() );
}

OPtr<OsDateTypes::DateRep> askServerTime( const OsFilePath& lockPath ) {
    return OsFsUtils::getServerTime( lockPath.getDirectoryName() );
}

/// Whether it is late for a holding that ends so.
bool isOverNow( std::int64_t endOfHolding ) noexcept {
    return getLockClock() >= endOfHolding;
}

/// A holder counts on four fifths of the maximum life: volumes round times, up to two seconds.
std::int64_t getEndOfHolding( std::int64_t start ) {
    return start + std::int64_t{ OsFileLockManager::getMaximumLife() } * NS_PER_SECOND / 5 * 4;
}

} // namespace

OsFileLockImp::OsFileLockImp( const OsFilePath& lockPath )
    : _lockPath( lockPath )
    , _process( OsUtils::getPid() )
    , _text( makeText() )
    , _reportCallback( *this, &OsFileLockImp::report ) {
    const LkGuard<const LkLock> guard( _fileLock );
    const std::int64_t start = getLockClock();
    const Acquired acquired = acquire();
    if( acquired == Acquired::TAKEN_OVER ) {
        Sleeper::getInstance().sleep( CONFIRM_SECONDS );
        if( _file.findPlace( _lockPath ) != Place::OWN ) {
            _file.kill();
            _file.close();
        }
    }
    _locked = _file.isOpen();
    if( _locked ) {
        hold( start, false );
    }
}

OsFileLockImp::~OsFileLockImp() {
    try {
        release();
    } catch( ... ) {
        Ownership::reportFailedDestructor();
    }
}

bool OsFileLockImp::isLockAlive( const OsFilePath& lockPath, bool& wasThere ) {
    const Kind kind = OsLockFile::look( lockPath ).kind;
    wasThere = kind != Kind::NOTHING;
    if( kind != Kind::FILE ) {
        return wasThere;
    }
    const OPtr<OsDateTypes::DateRep> serverTime = askServerTime( lockPath );
    if( serverTime.isNull() ) {
        return true;
    }
    const Look found = OsLockFile::look( lockPath );
    if( found.kind == Kind::NOTHING ) {
        return false;
    }
    if( found.kind != Kind::FILE || !isOver( found.time, *serverTime ) ) {
        return true;
    }
    // By the time from before the move: the server isn't asked while the file lies aside. One that
    // has died since then goes back, and is found dead by the next who asks.
    const auto isStillDead = [&]( const Look& moved ) { return isOver( moved.time, *serverTime ); };
    const Moving moving = OsLockFile::remove( lockPath, isStillDead );
    return moving != Moving::REMOVED && moving != Moving::VANISHED;
}

OsFileLockImp::Acquired OsFileLockImp::acquire() {
    bool wasThere = false;
    if( isLockAlive( _lockPath, wasThere ) ) {
        return Acquired::NO;
    }
    _file = OsLockFile::make( _lockPath, _text );
    if( !_file.isOpen() ) {
        return Acquired::NO;
    }
    return wasThere ? Acquired::TAKEN_OVER : Acquired::FRESH;
}

bool OsFileLockImp::isHeld() const noexcept {
    const std::int64_t end = _heldUntil.load( std::memory_order_relaxed );
    return end != 0 && getLockClock() < end && isOwnProcess();
}

bool OsFileLockImp::isOwnProcess() const noexcept {
    return OsUtils::getPid() == _process;
}

bool OsFileLockImp::verify() {
    // A child's copies of the locks may be held by threads that it doesn't have.
    if( !isOwnProcess() ) {
        return false;
    }
    const LkGuard<const LkLock> guard( _fileLock );
    if( !_locked ) {
        return false;
    }
    const Place place = _file.findPlace( _lockPath );
    if( place == Place::NOTHING || place == Place::OTHERS ) {
        lose();
    }
    return place == Place::OWN && isHeld();
}

bool OsFileLockImp::refresh() {
    const LkGuard<const LkLock> guard( _fileLock );
    if( !_locked ) {
        return false;
    }
    bool isDone = false;
    try {
        const Place place = _file.findPlace( _lockPath );
        isDone = place == Place::OWN ? rewrite() : place != Place::UNKNOWN && makeAnew();
    } catch( const std::exception& exception ) {
        QV_LOG( FileLocks, Error, "Refreshing lock ", _lockPath.toString(),
                " failed: ", exception.what() );
    }
    if( !isDone ) {
        QV_LOG( FileLocks, Support, "Failed to refresh lock ", _lockPath.toString(),
                ".  Will retry later." );
    }
    armReport();
    return _confirmTime != 0;
}

bool OsFileLockImp::rewrite() {
    const std::int64_t start = getLockClock();
    if( !_file.write( _text ) ) {
        return false;
    }
    // Asked now: this process may have been stopped before the file got its time.
    hold( start, isOverNow( _heldUntil.load( std::memory_order_relaxed ) ) );
    return true;
}

bool OsFileLockImp::makeAnew() {
    const std::int64_t start = getLockClock();
    const std::int64_t end = _heldUntil.load( std::memory_order_relaxed );
    lose();
    // Should the former file come back to its name, nobody shall wait for it.
    _file.kill();
    _file.close();
    const Acquired acquired = acquire();
    if( acquired == Acquired::NO ) {
        return false;
    }
    hold( start, acquired == Acquired::TAKEN_OVER || isOverNow( end ) );
    return true;
}

void OsFileLockImp::hold( std::int64_t start, bool mustConfirm ) {
    if( mustConfirm && _confirmTime == 0 ) {
        _lateStart = start;
        _confirmTime = getLockClock() + CONFIRM_NS;
    } else if( !mustConfirm ) {
        _confirmTime = 0;
        _heldUntil.store( getEndOfHolding( start ), std::memory_order_relaxed );
    }
}

bool OsFileLockImp::confirm() {
    const LkGuard<const LkLock> guard( _fileLock );
    if( _confirmTime == 0 || !_locked ) {
        return false;
    }
    if( getLockClock() < _confirmTime ) {
        return true;
    }
    if( _file.findPlace( _lockPath ) == Place::OWN ) {
        hold( _lateStart, false );
    }
    _confirmTime = 0;
    armReport();
    return false;
}

void OsFileLockImp::lose() {
    _heldUntil.store( 0, std::memory_order_relaxed );
    _confirmTime = 0;
    armReport();
}

void OsFileLockImp::release() {
    if( !isOwnProcess() ) {
        return;
    }
    setCallback( nullptr );
    const LkGuard<const LkLock> guard( _fileLock );
    if( std::exchange( _locked, false ) ) {
        _heldUntil.store( 0, std::memory_order_relaxed );
        removeFile();
        _file.close();
    }
}

void OsFileLockImp::removeFile() {
    const OsLockFile::Id own = _file.getId();
    Moving moving = Moving::VANISHED;
    if( _file.findPlace( _lockPath ) == Place::OWN ) {
        moving =
            OsLockFile::remove( _lockPath, [&]( const Look& moved ) { return moved.id == own; } );
    }
    if( moving == Moving::REMOVED ) {
        return;
    }
    const ExSysErrorWindows refusal( QV_HERE, "OsFile::performRemove", _lockPath.getChars() );
    // Somebody may be about to give it its name again: nobody shall wait for it.
    _file.kill();
    _file.close();
    if( moving == Moving::REFUSED ) {
        refusal.raise();
    }
    throw OsFileEx::ExInvalidPath( QV_HERE, "OsFile::remove", _lockPath );
}

void OsFileLockImp::setCallback( OsFileLock::Callback* callback ) {
    const auto exchange = [this]( OsFileLock::Callback* next ) {
        const LkGuard<const LkLock> guard( _reportLock );
        _callback = next;
        // Whoever comes anew believes that it is held.
        _wasHeld = true;
        return _reportAlarm;
    };
    const MtAlarmHandle alarm = exchange( nullptr );
    if( !alarm.isNull() ) {
        MtAlarmManager::getInstance().cancelAlarm( alarm );
    }
    if( callback != nullptr ) {
        static_cast<void>( exchange( callback ) );
        armReport();
    }
}

void OsFileLockImp::armReport() noexcept {
    const LkGuard<const LkLock> guard( _reportLock );
    if( _callback == nullptr ) {
        return;
    }
    const bool isHeldNow = isHeld();
    if( !isHeldNow && !_wasHeld ) {
        return;
    }
    const std::int64_t left = _heldUntil.load( std::memory_order_relaxed ) - getLockClock();
    const double duration = isHeldNow && _wasHeld ? static_cast<double>( left ) * 1e-9 : 0.0;
    MtAlarmHandle alarm = _reportAlarm;
    runStep( "The report of a file lock", [&] {
        if( alarm.isNull() ) {
            alarm = MtAlarmHandle( "Report of a file lock" );
            alarm.setCallback( &_reportCallback );
        }
        alarm.setDuration( duration );
        MtAlarmManager::getInstance().registerAlarm( alarm );
    } );
    _reportAlarm = alarm;
}

void OsFileLockImp::report() {
    // The call may release the lock.
    const RCStrongPtr<OsFileLockImp> self( this );
    const bool isHeldNow = isHeld();
    OsFileLock::Callback* callback = nullptr;
    {
        const LkGuard<const LkLock> guard( _reportLock );
        if( std::exchange( _wasHeld, isHeldNow ) != isHeldNow ) {
            callback = _callback;
        }
    }
    if( callback != nullptr ) {
        callback->call( isHeldNow );
    }
    if( isHeldNow ) {
        armReport();
    }
}

} // namespace Qv
