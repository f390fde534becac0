#include <base/init/inInit.h>
#include <pluginAPI/pluginAPIPackage.h>
#include <resmgt/locks/lkSingletonRegistry.h>
#include <resmgt/locks/locksPackage.h>
#include <resmgt/logger/loggerPackage.h>
#include <resmgt/osal/osalPackage.h>

namespace Qv {

template <>
InInit<QvInit::locks>::InInit()
    : InPackageInit( "locks" ) {
    registerPackage();
    addDependency( InInit<QvInit::osal>::getType() );
    addDependency( InInit<QvInit::logger>::getType() );
    addDependency( InInit<QvInit::pluginAPI>::getType() );
    addDependency( InInit<QvInit::base>::getType() );
}

template <>
void InInit<QvInit::locks>::initializePackage() {
    LkSingletonRegistry::init();
}

template <>
void InInit<QvInit::locks>::finalizePackage() {
    LkSingletonRegistry::fini();
}

namespace {

InInit<QvInit::locks> package;

} // namespace

} // namespace Qv
