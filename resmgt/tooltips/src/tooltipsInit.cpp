#include <base/init/inInit.h>
#include <pluginAPI/pluginAPIPackage.h>
#include <resmgt/initConfig/initConfigPackage.h>
#include <resmgt/initVars/initVarsPackage.h>
#include <resmgt/literals/literalsPackage.h>
#include <resmgt/logger/loggerPackage.h>
#include <resmgt/osSupport/osSupportPackage.h>
#include <resmgt/osal/osalPackage.h>
#include <resmgt/tooltips/tooltipsPackage.h>

namespace Qv {

template <>
InInit<QvInit::tooltips>::InInit()
    : InPackageInit( "tooltips" ) {
    registerPackage();
    addDependency( InInit<QvInit::literals>::getType() );
    addDependency( InInit<QvInit::osSupport>::getType() );
    addDependency( InInit<QvInit::osal>::getType() );
    addDependency( InInit<QvInit::logger>::getType() );
    addDependency( InInit<QvInit::initVars>::getType() );
    addDependency( InInit<QvInit::initConfig>::getType() );
    addDependency( InInit<QvInit::pluginAPI>::getType() );
    addDependency( InInit<QvInit::base>::getType() );
}

namespace {

InInit<QvInit::tooltips> package;

} // namespace

} // namespace Qv
