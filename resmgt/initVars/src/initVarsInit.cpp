#include <base/init/inContextAlias.h>
#include <base/init/inInit.h>
#include <resmgt/initVars/envVarRegistry.h>
#include <resmgt/initVars/inInitUserInitFile.h>
#include <resmgt/initVars/src/initVarsVariables.h>
#include <resmgt/resmgtPackages.h>

namespace Qv {

using namespace QvInit;

const std::type_info* initVars::getType() noexcept {
    return &typeid( initVars );
}

template <>
InInit<initVars>::InInit()
    : InPackageInit( "initVars" ) {
    registerPackage();
    dependsOn<osSupport, osal, base>();
    provideSources();
}

namespace {

InContextAliasUserInitFileBuilder builder;

} // namespace

template <>
void InInit<initVars>::initializePackage() {
    EnvVarRegistry::initialize();
    InVariableBase::registerUserContextAliasBuilders( &builder );
}

template <>
void InInit<initVars>::finalizePackage() {
    InVariableBase::unregisterUserContextAliasBuilders();
    InInitUserInitFile::get().finalize();
    EnvVarRegistry::finalize();
}

namespace {

InInit<initVars> package;

const InContextAlias<InInitArg, 1> userInitFileArg( "init:", "User initialization file." );
const InContextAlias<InInitEnv, 0> userInitFileEnv( USER_INIT_FILE_ENV,
                                                    "User initialization file." );
const InVariable<const char*> userInitFile( "ombra::deployment::userInitFile", package,
                                            userInitFileArg, userInitFileEnv );

} // namespace

const InVariable<const char*>& getUserInitFileVariable() noexcept {
    return userInitFile;
}

} // namespace Qv
