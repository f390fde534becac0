#include <base/init/inInit.h>
#include <resmgt/initConfig/initConfigPackage.h>
#include <resmgt/initVars/initVarsPackage.h>
#include <resmgt/logger/loggerPackage.h>
#include <resmgt/osSupport/osSupportPackage.h>
#include <resmgt/osal/osalPackage.h>
#include <resmgt/profiling/profilingPackage.h>

namespace Qv {

template <>
InInit<QvInit::logger>::InInit()
    : InPackageInit( "logger" ) {
    registerPackage();
    addDependency( InInit<QvInit::osSupport>::getType() );
    addDependency( InInit<QvInit::initVars>::getType() );
    addDependency( InInit<QvInit::initConfig>::getType() );
    addDependency( InInit<QvInit::osal>::getType() );
    addDependency( InInit<QvInit::profiling>::getType() );
    addDependency( InInit<QvInit::base>::getType() );
}

namespace {

InInit<QvInit::logger> package;

} // namespace

} // namespace Qv
