#include <base/init/inInit.h>
#include <resmgt/initApp/inInitAppInitFile.h>
#include <resmgt/resmgtPackages.h>

namespace Qv {

using namespace QvInit;

const std::type_info* initApp::getType() noexcept {
    return &typeid( initApp );
}

template <>
InInit<initApp>::InInit()
    : InPackageInit( "initApp" ) {
    registerPackage();
    dependsOn<initInstallDir, initVars, osal, base>();
    provideSources();
}

namespace {

InContextAliasAppInitFileBuilder builder;

} // namespace

template <>
void InInit<initApp>::initializePackage() {
    InVariableBase::registerAppContextAliasBuilders( &builder );
}

template <>
void InInit<initApp>::finalizePackage() {
    InVariableBase::unregisterAppContextAliasBuilders();
    InInitAppInitFile::get().finalize();
}

namespace {

InInit<initApp> package;

} // namespace

} // namespace Qv
