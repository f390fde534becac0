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
    void transfer() const { _operation( *_server, _tile, _memory, _hint ); }
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
        , _record( place.record )
        , _timeStamp( place.turn.timeStamp )
        , _arrival( place.turn.arrival ) {}

    void execute() {
        AsyncRequest::execute();
        if( getServer() != nullptr ) {
            getServer()->_prioAccess->release( _record );
        }
    }

    bool operator<( const AsyncPrioRequest& other ) const noexcept {
        return getTurn() > other.getTurn();
    }

private:
    /// A default-made request comes last.
    CtTurn getTurn() const noexcept {
        return { _timeStamp, getTile().getSerialId(), getTile().getOffset(), _arrival };
    }

    CtPrioAccess::Records::iterator _record;
    // What the turn has beside the tile.
    std::uint64_t _timeStamp = UINT64_MAX;
    std::uint64_t _arrival = UINT64_MAX;
};

} // namespace Qv
