#include <resmgt/fileLocks/osFileLock.h>

#include <base/failure/assertions.h>
#include <resmgt/fileLocks/osFileLockManager.h>
#include <resmgt/fileLocks/src/osFileLockImp.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/profiling/sleeper.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <exception>

namespace Qv {

namespace {

using Clock = std::chrono::steady_clock;

// In seconds, between two tries of one that waits: each asks the server for its time.
constexpr double SHORTEST_PAUSE = 0.05;
constexpr double LONGEST_PAUSE = 1.0;

/// Of the path as it is given: "." has no name that could be locked.
OsFilePath makeAbsoluteLockPath( const OsFilePath& path ) {
    return OsFileLock::getLockPath( path ).getAbsolutePath();
}

OsFilePath makeLockPath( const OsFilePath& path ) {
    constexpr const char* WHERE = "OsFileLock::getLockPath";
    if( path.isEmpty() ) {
        throw OsFileEx::ExNullFilePath( QV_HERE, WHERE );
    }
    const OsFilePath name = path.getBaseName( OsFilePath::WITH_EXTENSION );
    if( name.isRoot() || name == OsFilePath( "." ) || name == OsFilePath( ".." ) ) {
        throw OsFileEx::ExIllegalPathConcat( QV_HERE, WHERE, path );
    }
    OsFilePath lockName( "." + name.toString() );
    lockName.addExtension( OsFileLock::getLockFileExtension().c_str() );
    return path.getDirectoryName() + lockName;
}

} // namespace

OsFileLock::OsFileLock( const RCStrongPtr<OsFileLockImp>& imp )
    : _imp( imp ) {}

OsFileLock::~OsFileLock() noexcept( false ) {
    try {
        release();
    } catch( ... ) {
        if( std::uncaught_exceptions() == 0 ) {
            throw;
        }
        Ownership::reportFailedDestructor();
    }
}

OPtrRet<OsFileLock> OsFileLock::lock( const OsFilePath& path ) {
    return OsFileLockManager::getInstance().acquire( makeAbsoluteLockPath( path ) );
}

OPtrRet<OsFileLock> OsFileLock::lock( const OsFilePath& path, double seconds ) {
    QV_ASSERT( !std::isnan( seconds ) );
    // The current directory may change meanwhile.
    const OsFilePath lockPath = makeAbsoluteLockPath( path );
    const auto start = Clock::now();
    double pause = SHORTEST_PAUSE;
    for( ;; ) {
        OPtr<OsFileLock> made = OsFileLockManager::getInstance().acquire( lockPath );
        const double left = seconds - std::chrono::duration<double>( Clock::now() - start ).count();
        if( !made.isNull() || left <= 0.0 ) {
            return made;
        }
        Sleeper::getInstance().sleep( std::min( pause, left ) );
        pause = std::min( 2.0 * pause, LONGEST_PAUSE );
    }
}

bool OsFileLock::isLocked( const OsFilePath& path ) {
    bool wasThere = false;
    return OsFileLockImp::isLockAlive( makeAbsoluteLockPath( path ), wasThere );
}

OsFilePath OsFileLock::getLockPath( const OsFilePath& path ) {
    return makeLockPath( path );
}

const std::string& OsFileLock::getLockFileExtension() {
    static const std::string extension( "omlock" );
    return extension;
}

bool OsFileLock::isHeld() const noexcept {
    return _imp.get()->isHeld();
}

bool OsFileLock::verify() {
    return _imp->verify();
}

void OsFileLock::setCallback( Callback* callback ) {
    _imp->setCallback( callback );
}

void OsFileLock::release() {
    if( OsFileLockManager::isInitialized() && _imp->isOwnProcess() ) {
        OsFileLockManager::getInstance().remove( RCWeakPtr<OsFileLockImp>( _imp ) );
    }
    _imp->release();
}

const OsFilePath& OsFileLock::getLockFilePath() const {
    return _imp->getLockPath();
}

} // namespace Qv
