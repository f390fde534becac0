#include <base/failure/exDebuggerUtil.h>
#include <base/init/inContextAlias.h>
#include <base/init/inInit.h>
#include <base/init/inVariable.h>
#include <resmgt/initVars/envVar.h>
#include <resmgt/logger/lgLog.h>
#include <resmgt/logger/lgMajorGroup.h>
#include <resmgt/logger/qvLog.h>
#include <resmgt/logger/src/logDirVariable.h>
#include <resmgt/resmgtPackages.h>

#include <exception>
#include <sstream>
#include <string>

namespace Qv {

using namespace QvInit;

const std::type_info* logger::getType() noexcept {
    return &typeid( logger );
}

namespace {

EnvIntVar dumpSetup( __FILE__, "QV_LOG_DUMP_SETUP", 0 );

void logStack( const char* text ) {
    QV_LOG( Logger, FatalError, text );
}

/// At the end, when each package and the program itself have had their time to ask.
void logUnknownNames() noexcept {
    try {
        for( const std::string& name : LgMajorGroup::getNamesNobodyAskedFor() ) {
            QV_LOG( Logger, Support, "Levels were set for the major group \"", name,
                    "\", which nobody logs to" );
        }
    } catch( const std::exception& ) {
        // Without memory for the list the end goes on.
    }
}

void logLimits() {
    const std::uint64_t nbUntold = LgLimit::getNbUntold();
    if( nbUntold > 0 ) {
        QV_LOG( Logger, Support, "Statements left out for their frequency: ", nbUntold );
    }
}

void logSetup() {
    std::ostringstream text;
    text << "Logger setup:\n";
    LgLog::dump( text );
    dumpSetup.refresh();
    if( dumpSetup.getValue() != 0 ) {
        QV_LOG( Logger, Support, text.str() );
    }
}

} // namespace

template <>
InInit<logger>::InInit()
    : InPackageInit( "logger" ) {
    registerPackage();
    dependsOn<osSupport, initVars, initConfig, osal, profiling, base>();
}

template <>
void InInit<logger>::initializePackage() {
    LgLog::init();
    try {
        LgGroups::MinorLevelLogger.create( logSetup );
    } catch( ... ) {
        LgLog::destroy();
        LgMajorGroup::finalize();
        throw;
    }
    ExDebuggerUtil::registerStackLogger( logStack );
}

template <>
void InInit<logger>::finalizePackage() {
    ExDebuggerUtil::registerStackLogger( nullptr );
    logUnknownNames();
    logLimits();
    LgGroups::MinorLevelLogger.destroy( LgLog::destroy );
    LgMajorGroup::finalize();
}

namespace {

InInit<logger> package;

const InArgument logArgument( "log:", "Log directory." );
const InArgument shortLogArgument( "l:", "Log directory." );
const InEnvironment logEnvironment( "QV_LOG_DIR", "Log directory" );
const InVariable<const char*> logDir( "ombra::deployment::logDir", package, logArgument,
                                      shortLogArgument, logEnvironment );

} // namespace

const InVariable<const char*>& getLogDirVariable() noexcept {
    return logDir;
}

} // namespace Qv
