#include <resmgt/messages/msgServer.h>

#include <resmgt/messages/src/msgServerImp.h>

#include <utility>

namespace Qv {

namespace {

/// Messages may have to be shown before any constructor has run, so neither needs one.
constinit const LkLock instanceLock( "MsgServer" );
constinit MsgServerImp* instance QV_GUARDED_BY( instanceLock ) = nullptr;

MsgServerImp* takeInstance() {
    const LkGuard guard( instanceLock );
    return std::exchange( instance, nullptr );
}

} // namespace

MsgServer::MsgServer() = default;

MsgServer::~MsgServer() = default;

MsgServerImp& MsgServerImp::getImp() {
    const LkGuard guard( instanceLock );
    if( instance == nullptr ) {
        instance = new MsgServerImp;
    }
    return *instance;
}

void MsgServer::initialize() {
    MsgServerImp::chooseMissingLevel();
    MsgServerImp::getImp();
}

MsgServer& MsgServer::getInstance() {
    MsgServerImp::chooseMissingLevel();
    return MsgServerImp::getImp();
}

void MsgServer::finalize() {
    // Managers may do anything while they end.
    const OPtr<MsgServerImp> ended( takeInstance() );
}

} // namespace Qv
