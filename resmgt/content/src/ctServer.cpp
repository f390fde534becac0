#include <resmgt/content/ctServer.h>

#include <resmgt/content/ctServerFactory.h>
#include <resmgt/locks/lkSingleton.imp>
#include <resmgt/messages/msgProtocol.h>
#include <resmgt/threads/mtPriorityMgr.h>
#include <resmgt/threads/rtPriorities.h>

namespace Qv {

template class QV_RESMGT_API LkSingleton<CtServer>;

namespace {

struct Configuration {
    const LkLock lock{ "CtServer configuration" };
    LiString text QV_GUARDED_BY( lock );
};

/// There on first use, so that it may be set before `main`.
Configuration& getConfiguration() {
    static Configuration configuration;
    return configuration;
}

} // namespace

void CtServer::configure( const LiString& configuration ) {
    QV_ASSERT_TEXT( LkSingleton<CtServer>::getState() == LkSingleton<CtServer>::UNINITIALIZED,
                    "_state == UNINITIALIZED" );
    Configuration& place = getConfiguration();
    const LkGuard guard( place.lock );
    place.text = configuration;
}

CtServer& CtServer::getInstance() {
    CtServer* const server = LkSingleton<CtServer>::getPointee();
    QV_ASSERT_TEXT( server != nullptr, "_state == UNINITIALIZED" );
    return *server;
}

void CtServer::finalize() {
    LkSingleton<CtServer>::destroy();
}

OPtrRet<CtServer> CtServer::createInstance() {
    LiString text;
    {
        Configuration& place = getConfiguration();
        const LkGuard guard( place.lock );
        text = place.text;
    }
    return CtServerFactory::createServer( text );
}

CtServer::CtServer( const LiString& configuration )
    : _path( configuration )
    , _priority( "ct-group", MtPriorityMgr::getInstance() )
    , _belowRealTime( "rt<content", _priority, PriorityRelation::LESS,
                      RtPriorities::getInstance().getRealTimePriority() )
    , _tally( new CtTally ) {
    MsgInformation( "Initializing media cache %1" ).substitute( _path ).display();
}

CtServer::~CtServer() noexcept( false ) = default;

} // namespace Qv
