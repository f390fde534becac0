#include <resmgt/osal/src/osTempDir.h>

#include <base/failure/assertions.h>
#include <base/failure/exSysError.h>
#include <base/trace/traceManager.h>
#include <resmgt/osal/osDirectory.h>
#include <resmgt/osal/src/osFsPlatform.h>

#include <cstdlib>
#include <sstream>
#include <string>

namespace Qv {

namespace {

constexpr const char* NAME = "ombra";

/// What `OsTempDir::prepare` has found, for the environment that it has seen.
struct Substitute {
    OsFilePath usual;
    OsFilePath place;
};

Substitute& getSubstitute() {
    static Substitute substitute;
    return substitute;
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

void takeFirstPlace() {
    std::string faults;
    for( const auto getPlace : { getUsual, getOwn, getInCache } ) {
        const OsFilePath place = getPlace();
        if( place.isEmpty() ) {
            continue;
        }
        const std::string fault = OsFsPlatform::claimDirectory( place );
        if( fault.empty() ) {
            if( !faults.empty() ) {
                reportSubstitute( place, faults );
                getSubstitute() = { getUsual(), place };
            }
            return;
        }
        faults += ( faults.empty() ? " '" : ", '" ) + place.toString() + "' " + fault;
    }
    throw ExSysErrorGeneric( QV_HERE,
                             ( "There is no directory for temporary files:" + faults ).c_str(),
                             "OsFilePath::getTempDir", getUsual().getChars() );
}

} // namespace

void OsTempDir::prepare() {
    getSubstitute() = {};
    const OsFilePath testDir = getTestDir();
    if( testDir.isEmpty() ) {
        takeFirstPlace();
    } else {
        makeTestDir( OsDirectory( testDir ) );
    }
    const OsDirectory tempDir( OsFilePath::getTempDir() );
    QV_ASSERT( tempDir.exists() );
}

OsFilePath OsFilePath::getTempDir() {
    const OsFilePath testDir = getTestDir();
    if( !testDir.isEmpty() ) {
        return testDir;
    }
    const OsFilePath usual = getUsual();
    const Substitute& substitute = getSubstitute();
    return usual == substitute.usual ? substitute.place : usual;
}

} // namespace Qv
