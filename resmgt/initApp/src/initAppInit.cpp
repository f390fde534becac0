#include <base/init/inInit.h>
#include <resmgt/initApp/inInitAppInitFile.h>
#include <resmgt/initApp/initAppPackage.h>
#include <resmgt/initInstallDir/initInstallDirPackage.h>
#include <resmgt/initVars/initVarsPackage.h>
#include <resmgt/osal/osalPackage.h>

namespace Qv {

template <>
InInit<QvInit::initApp>::InInit()
    : InPackageInit( "initApp" ) {
    registerPackage();
    addDependency( InInit<QvInit::initInstallDir>::getType() );
    addDependency( InInit<QvInit::initVars>::getType() );
    addDependency( InInit<QvInit::osal>::getType() );
    addDependency( InInit<QvInit::base>::getType() );
}

namespace {

InContextAliasAppInitFileBuilder builder;

} // namespace

template <>
void InInit<QvInit::initApp>::initializePackage() {
    InVariableBase::registerAppContextAliasBuilders( &builder );
}

template <>
void InInit<QvInit::initApp>::finalizePackage() {
    InVariableBase::unregisterAppContextAliasBuilders();
    InInitAppInitFile::get().finalize();
}

namespace {

InInit<QvInit::initApp> package;

} // namespace

} // namespace Qv
