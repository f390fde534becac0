#include <base/init/inContextAlias.h>
#include <base/init/inInit.h>
#include <resmgt/initInstallDir/initInstallDirPackage.h>
#include <resmgt/initInstallDir/src/installDirVariable.h>
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

const InContextAlias<InInitEnv, 0> installDirEnv( "QV_INSTALL_DIR", "Install directory." );
const InVariable<const char*> installDir( "ombra::deployment::installDir", package, installDirEnv );

} // namespace

const InVariable<const char*>& getInstallDirVariable() noexcept {
    return installDir;
}

} // namespace Qv
