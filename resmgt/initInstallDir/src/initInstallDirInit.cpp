#include <base/init/inInit.h>
#include <resmgt/initInstallDir/initInstallDirPackage.h>
#include <resmgt/initVars/initVarsPackage.h>
#include <resmgt/osal/osalPackage.h>

namespace Qv {

template <>
InInit<QvInit::initInstallDir>::InInit()
    : InPackageInit( "initInstallDir" ) {
    registerPackage();
    addDependency( InInit<QvInit::initVars>::getType() );
    addDependency( InInit<QvInit::osal>::getType() );
    addDependency( InInit<QvInit::base>::getType() );
}

namespace {

InInit<QvInit::initInstallDir> package;

} // namespace

} // namespace Qv
