#include <resmgt/content/src/ctAsyncGroup.h>

#include <queue>

namespace Qv {

CtNonAsyncServer::AsyncGroup::~AsyncGroup() noexcept( false ) = default;

class CtNonAsyncServer::PlainGroup : public Workers<std::queue<AsyncRequest>> {
public:
    PlainGroup( int nbThreads, CtNonAsyncServer& server )
        : Workers( "ct-async-h", nbThreads, server ) {}

    void push( AsyncRequest&& request ) override { pushItem( std::move( request ) ); }
};

class CtNonAsyncServer::PrioGroup : public Workers<std::priority_queue<AsyncPrioRequest>> {
public:
    PrioGroup( int nbThreads, CtNonAsyncServer& server )
        : Workers( "ct-prio-h", nbThreads, server ) {}

    void push( AsyncRequest&& request ) override {
        CtPrioAccess& access = *_server._prioAccess;
        const CtPrioAccess::Place place = access.demand( request.getTile() );
        try {
            pushItem( AsyncPrioRequest( std::move( request ), place ) );
        } catch( ... ) {
            access.release( place.record );
            throw;
        }
    }
};

OPtrRet<CtNonAsyncServer::AsyncGroup>
CtNonAsyncServer::AsyncGroup::create( CtNonAsyncServer& server, const CtEngineOptions& options ) {
    if( options.nbAsyncPrioThreads > 0 ) {
        return OPtr<AsyncGroup>( new PrioGroup( options.nbAsyncPrioThreads, server ) );
    }
    if( options.nbAsyncThreads > 0 ) {
        return OPtr<AsyncGroup>( new PlainGroup( options.nbAsyncThreads, server ) );
    }
    return OPtr<AsyncGroup>();
}

} // namespace Qv
