#include <base/init/inInit.h>
#include <resmgt/initVars/envVarRegistry.h>
#include <resmgt/initVars/initVarsPackage.h>
#include <resmgt/osSupport/osSupportPackage.h>
#include <resmgt/osal/osalPackage.h>

namespace Qv {

template <>
InInit<QvInit::initVars>::InInit()
    : InPackageInit( "initVars" ) {
    registerPackage();
    addDependency( InInit<QvInit::osSupport>::getType() );
    addDependency( InInit<QvInit::osal>::getType() );
    addDependency( InInit<QvInit::base>::getType() );
}

template <>
void InInit<QvInit::initVars>::initializePackage() {
    EnvVarRegistry::initialize();
}

template <>
void InInit<QvInit::initVars>::finalizePackage() {
    EnvVarRegistry::finalize();
}

namespace {

InInit<QvInit::initVars> package;

} // namespace

} // namespace Qv
