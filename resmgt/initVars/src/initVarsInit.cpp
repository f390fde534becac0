#include <base/init/inContextAlias.h>
#include <base/init/inInit.h>
#include <resmgt/initVars/envVarRegistry.h>
#include <resmgt/initVars/inInitUserInitFile.h>
#include <resmgt/initVars/initVarsPackage.h>
#include <resmgt/initVars/src/initVarsVariables.h>
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

namespace {

InContextAliasUserInitFileBuilder builder;

} // namespace

template <>
void InInit<QvInit::initVars>::initializePackage() {
    EnvVarRegistry::initialize();
    InVariableBase::registerUserContextAliasBuilders( &builder );
}

template <>
void InInit<QvInit::initVars>::finalizePackage() {
    InVariableBase::unregisterUserContextAliasBuilders();
    InInitUserInitFile::get().finalize();
    EnvVarRegistry::finalize();
}

namespace {

InInit<QvInit::initVars> package;

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
