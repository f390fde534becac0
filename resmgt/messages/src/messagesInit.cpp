#include <base/init/inInit.h>
#include <resmgt/logger/lgGroups.h>
#include <resmgt/messages/msgServer.h>
#include <resmgt/resmgtPackages.h>

namespace Qv {

using namespace QvInit;

const std::type_info* messages::getType() noexcept {
    return &typeid( messages );
}

template <>
InInit<messages>::InInit()
    : InPackageInit( "messages" ) {
    registerPackage();
    dependsOn<osSupport, osal, logger, initVars, initConfig, base>();
}

template <>
void InInit<messages>::initializePackage() {
    LgGroups::MinorLevelMessages.create( [] { MsgServer::initialize(); } );
}

template <>
void InInit<messages>::finalizePackage() {
    LgGroups::MinorLevelMessages.destroy( [] { MsgServer::finalize(); } );
}

namespace {

InInit<messages> package;

} // namespace

} // namespace Qv
