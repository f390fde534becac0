#include <base/init/inContextAlias.h>
#include <base/init/inInit.h>
#include <resmgt/initInstallDir/src/installDirVariable.h>
#include <resmgt/resmgtPackages.h>

namespace Qv {

using namespace QvInit;

const std::type_info* initInstallDir::getType() noexcept {
    return &typeid( initInstallDir );
}

template <>
InInit<initInstallDir>::InInit()
    : InPackageInit( "initInstallDir" ) {
    registerPackage();
    dependsOn<initVars, osal, base>();
}

namespace {

InInit<initInstallDir> package;

const InContextAlias<InInitEnv, 0> installDirEnv( "QV_INSTALL_DIR", "Install directory." );
const InVariable<const char*> installDir( "ombra::deployment::installDir", package, installDirEnv );

} // namespace

const InVariable<const char*>& getInstallDirVariable() noexcept {
    return installDir;
}

} // namespace Qv
