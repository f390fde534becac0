#include <resmgt/osal/osTempDir.h>

#include <base/failure/assertions.h>
#include <base/failure/exSysError.h>
#include <base/locks/lkGuard.h>
#include <base/locks/lkLock.h>
#include <base/trace/traceManager.h>
#include <resmgt/osal/osDirectory.h>
#include <resmgt/osal/src/osFsPlatform.h>
#include <resmgt/osal/src/osTempDirStart.h>

#include <cstdlib>
#include <sstream>
#include <string>

namespace Qv {

namespace {

constexpr const char* NAME = "ombra";

/// The next best place, for the environment in which it was found.
struct Substitute {
    OsFilePath usual;
    OsFilePath place;
};

struct State {
    const LkLock lock{ "OsFilePath::getTempDir" };
    bool isOnDemand QV_GUARDED_BY( lock ) = false;
    bool isToBeMade QV_GUARDED_BY( lock ) = false;
    Substitute substitute QV_GUARDED_BY( lock );
};

State& getState() {
    static State state;
    return state;
}

OsFilePath getTestDir() {
    return { std::getenv( "QV_TEST_DIR" ) };
}

OsFilePath getUsual() {
    return OsFsPlatform::getSystemTempDir() + NAME;
}

OsFilePath getOwn() {
    return OsFsPlatform::getSystemTempDir() + ( NAME + ( "-" + OsFsPlatform::getUserMark() ) );
}

OsFilePath getInCache() {
    const OsFilePath cache = OsFsPlatform::makeCacheDir();
    return cache.isEmpty() ? cache : cache + NAME;
}

void reportSubstitute( const OsFilePath& place, const std::string& faults ) {
    if( Trace::isEnabled( Trace::MainTraceLevel ) ) {
        std::ostringstream text;
        text << "Temporary files go to '" << place.toString() << "':" << faults << '.';
        TraceManager::getInstance().getTrace().log( text, QV_HERE );
    }
}

void makeTestDir( OsDirectory directory ) {
    if( directory.isDirectory() ) {
        return;
    }
    try {
        directory.create( OsFileTypes::Permissions( 7, 7, 7 ) );
    } catch( const ExSysError& ) {
        // Another process that starts now may have been quicker.
        if( !directory.isDirectory() ) {
            throw;
        }
    }
}

/// Its place is empty if the usual one is had.
Substitute takeFirstPlace() {
    std::string faults;
    for( const auto getPlace : { getUsual, getOwn, getInCache } ) {
        const OsFilePath place = getPlace();
        if( place.isEmpty() ) {
            continue;
        }
        const std::string fault = OsFsPlatform::claimDirectory( place );
        if( fault.empty() ) {
            if( faults.empty() ) {
                return {};
            }
            reportSubstitute( place, faults );
            return { getUsual(), place };
        }
        faults += ( faults.empty() ? " '" : ", '" ) + place.toString() + "' " + fault;
    }
    throw ExSysErrorGeneric( QV_HERE,
                             ( "There is no directory for temporary files:" + faults ).c_str(),
                             "OsFilePath::getTempDir", getUsual().getChars() );
}

OsFilePath getName( const Substitute& substitute ) {
    const OsFilePath testDir = getTestDir();
    if( !testDir.isEmpty() ) {
        return testDir;
    }
    const OsFilePath usual = getUsual();
    return usual == substitute.usual ? substitute.place : usual;
}

void make( State& state ) QV_REQUIRES( state.lock ) {
    const OsFilePath testDir = getTestDir();
    state.substitute = {};
    if( testDir.isEmpty() ) {
        state.substitute = takeFirstPlace();
    } else {
        makeTestDir( OsDirectory( testDir ) );
    }
    const OsDirectory tempDir( getName( state.substitute ) );
    QV_ASSERT( tempDir.exists() );
    state.isToBeMade = false;
}

} // namespace

void startTempDir() {
    State& state = getState();
    const LkGuard<const LkLock> guard( state.lock );
    state.isToBeMade = state.isOnDemand;
    if( !state.isOnDemand ) {
        make( state );
    }
}

void OsTempDir::setOnDemand( bool isOnDemand ) {
    State& state = getState();
    const LkGuard<const LkLock> guard( state.lock );
    state.isOnDemand = isOnDemand;
}

bool OsTempDir::isToBeMade() {
    State& state = getState();
    const LkGuard<const LkLock> guard( state.lock );
    return state.isToBeMade;
}

OsFilePath OsFilePath::getTempDir() {
    State& state = getState();
    const LkGuard<const LkLock> guard( state.lock );
    if( state.isToBeMade ) {
        make( state );
    }
    return getName( state.substitute );
}

} // namespace Qv
