#include <base/init/inInit.h>
#include <resmgt/content/contentPackage.h>
#include <resmgt/initVars/initVarsPackage.h>
#include <resmgt/literals/literalsPackage.h>
#include <resmgt/locks/locksPackage.h>
#include <resmgt/logger/loggerPackage.h>
#include <resmgt/messages/messagesPackage.h>
#include <resmgt/osSupport/osSupportPackage.h>
#include <resmgt/osal/osalPackage.h>
#include <resmgt/profiling/profilingPackage.h>
#include <resmgt/testing/testingPackage.h>
#include <resmgt/threadExtensions/threadExtensionsPackage.h>
#include <resmgt/threads/threadsPackage.h>

namespace Qv {

template <>
InInit<QvInit::content>::InInit()
    : InPackageInit( "content" ) {
    registerPackage();
    addDependency( InInit<QvInit::testing>::getType() );
    addDependency( InInit<QvInit::threadExtensions>::getType() );
    addDependency( InInit<QvInit::threads>::getType() );
    addDependency( InInit<QvInit::literals>::getType() );
    addDependency( InInit<QvInit::initVars>::getType() );
    addDependency( InInit<QvInit::messages>::getType() );
    addDependency( InInit<QvInit::logger>::getType() );
    addDependency( InInit<QvInit::osSupport>::getType() );
    addDependency( InInit<QvInit::locks>::getType() );
    addDependency( InInit<QvInit::profiling>::getType() );
    addDependency( InInit<QvInit::osal>::getType() );
    addDependency( InInit<QvInit::base>::getType() );
}

namespace {

InInit<QvInit::content> package;

} // namespace

} // namespace Qv
