#include <base/init/inInit.h>
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
    MsgServer::initialize();
}

template <>
void InInit<messages>::finalizePackage() {
    MsgServer::finalize();
}

namespace {

InInit<messages> package;

} // namespace

} // namespace Qv
