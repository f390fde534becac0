#include <base/init/inContextAlias.h>
#include <base/init/inInit.h>
#include <base/init/inVariable.h>
#include <pluginAPI/pluginAPIPackage.h>
#include <resmgt/fileMonitoring/osFileMonitor.h>
#include <resmgt/fileMonitoring/src/fileMonitorIntervals.h>
#include <resmgt/logger/lgGroups.h>
#include <resmgt/resmgtPackages.h>

namespace Qv {

using namespace QvInit;

const std::type_info* fileMonitoring::getType() noexcept {
    return &typeid( fileMonitoring );
}

template <>
InInit<fileMonitoring>::InInit()
    : InPackageInit( "fileMonitoring" ) {
    registerPackage();
    dependsOn<threads, literals, locks, logger, osal, profiling, osSupport, pluginAPI, base>();
}

template <>
void InInit<fileMonitoring>::initializePackage() {
    LgGroups::MinorLevelFileMonitoring.create( [] { OsFileMonitor::initialize(); } );
}

template <>
void InInit<fileMonitoring>::finalizePackage() {
    LgGroups::MinorLevelFileMonitoring.destroy( [] { OsFileMonitor::finalize(); } );
}

namespace {

InInit<fileMonitoring> package;

// The value has always been used as seconds, whatever the help text says.
const InEnvironment fileIntervalEnv( "QV_FILEMONITOR_FILE_INTERVAL",
                                     "Time interval between each file monitored in milliseconds" );
const InDefault fileIntervalDefault( "0", "No time interval." );
const InVariable<int> fileInterval( "ombra::fileMonitor::fileInterval", package, fileIntervalEnv,
                                    fileIntervalDefault );

const InEnvironment iterationIntervalEnv( "QV_FILEMONITOR_ITERATION_INTERVAL",
                                          "Time internal between each iteration in seconds." );
const InDefault iterationIntervalDefault( "60", "60 seconds interval between iterations." );
const InVariable<int> iterationInterval( "ombra::fileMonitor::iterationInterval", package,
                                         iterationIntervalEnv, iterationIntervalDefault );

} // namespace

double FileMonitorIntervals::getIterationInterval() noexcept {
    return iterationInterval.getValue();
}

double FileMonitorIntervals::getFileInterval() noexcept {
    return fileInterval.getValue();
}

} // namespace Qv
