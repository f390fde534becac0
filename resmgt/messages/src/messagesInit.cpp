#include <base/init/inInit.h>
#include <resmgt/initConfig/initConfigPackage.h>
#include <resmgt/initVars/initVarsPackage.h>
#include <resmgt/logger/loggerPackage.h>
#include <resmgt/messages/messagesPackage.h>
#include <resmgt/messages/msgServer.h>
#include <resmgt/osSupport/osSupportPackage.h>
#include <resmgt/osal/osalPackage.h>

namespace Qv {

template <>
InInit<QvInit::messages>::InInit()
    : InPackageInit( "messages" ) {
    registerPackage();
    addDependency( InInit<QvInit::osSupport>::getType() );
    addDependency( InInit<QvInit::osal>::getType() );
    addDependency( InInit<QvInit::logger>::getType() );
    addDependency( InInit<QvInit::initVars>::getType() );
    addDependency( InInit<QvInit::initConfig>::getType() );
    addDependency( InInit<QvInit::base>::getType() );
}

template <>
void InInit<QvInit::messages>::initializePackage() {
    MsgServer::initialize();
}

template <>
void InInit<QvInit::messages>::finalizePackage() {
    MsgServer::finalize();
}

namespace {

InInit<QvInit::messages> package;

} // namespace

} // namespace Qv
