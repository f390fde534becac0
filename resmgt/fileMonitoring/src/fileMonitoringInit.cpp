#include <base/init/inInit.h>
#include <pluginAPI/pluginAPIPackage.h>
#include <resmgt/fileMonitoring/fileMonitoringPackage.h>
#include <resmgt/literals/literalsPackage.h>
#include <resmgt/locks/locksPackage.h>
#include <resmgt/logger/loggerPackage.h>
#include <resmgt/osSupport/osSupportPackage.h>
#include <resmgt/osal/osalPackage.h>
#include <resmgt/profiling/profilingPackage.h>
#include <resmgt/threads/threadsPackage.h>

namespace Qv {

template <>
InInit<QvInit::fileMonitoring>::InInit()
    : InPackageInit( "fileMonitoring" ) {
    registerPackage();
    addDependency( InInit<QvInit::threads>::getType() );
    addDependency( InInit<QvInit::literals>::getType() );
    addDependency( InInit<QvInit::locks>::getType() );
    addDependency( InInit<QvInit::logger>::getType() );
    addDependency( InInit<QvInit::osal>::getType() );
    addDependency( InInit<QvInit::profiling>::getType() );
    addDependency( InInit<QvInit::osSupport>::getType() );
    addDependency( InInit<QvInit::pluginAPI>::getType() );
    addDependency( InInit<QvInit::base>::getType() );
}

namespace {

InInit<QvInit::fileMonitoring> package;

} // namespace

} // namespace Qv
