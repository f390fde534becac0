#pragma once

#include <resmgt/content/ctNonAsyncServer.h>
#include <resmgt/content/src/ctPrioAccess.h>
#include <resmgt/threadExtensions/mtRequestBase.h>

namespace Qv {

/// An asynchronous request, as it stands in the plain queue. A default-made one does nothing.
class CtNonAsyncServer::AsyncRequest : public MtRequestBase {
public:
    AsyncRequest() = default;
    AsyncRequest( CtNonAsyncServer& server, Operation operation, const CtPxTileId& tile,
                  void* memory, const CtHintPtr& hint, LkAsyncHandle* handle )
        : _server( &server )
        , _operation( operation )
        , _tile( tile )
        , _memory( memory )
        , _hint( hint )
        , _handle( handle ) {}

    void execute() {
        if( _server != nullptr ) {
            _server->serve( *this );
        }
    }

    CtNonAsyncServer* getServer() const noexcept { return _server; }
    const CtPxTileId& getTile() const noexcept { return _tile; }
    const CtHintPtr& getHint() const noexcept { return _hint; }
    LkAsyncHandle* getHandle() const noexcept { return _handle; }
    void transfer() const { ( _server->*_operation )( _tile, _memory, _hint ); }
    void dropHint() noexcept { _hint = CtHintPtr(); }

private:
    CtNonAsyncServer* _server = nullptr;
    Operation _operation = nullptr;
    CtPxTileId _tile;
    void* _memory = nullptr;
    CtHintPtr _hint;
    LkAsyncHandle* _handle = nullptr;
};

/// The same in the priority queue, where the greatest is next: the one whose turn is the smallest.
class CtNonAsyncServer::AsyncPrioRequest : public AsyncRequest {
public:
    AsyncPrioRequest() = default;
    AsyncPrioRequest( AsyncRequest&& request, const CtPrioAccess::Place& place )
        : AsyncRequest( std::move( request ) )
        , _place( place ) {}

    void execute() {
        AsyncRequest::execute();
        if( getServer() != nullptr ) {
            getServer()->_prioAccess->release( _place );
        }
    }

    bool operator<( const AsyncPrioRequest& other ) const noexcept {
        return _place.turn > other._place.turn;
    }

private:
    CtPrioAccess::Place _place;
};

} // namespace Qv
