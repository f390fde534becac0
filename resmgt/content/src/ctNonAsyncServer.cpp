#include <resmgt/content/ctNonAsyncServer.h>

#include <base/failure/assertions.h>
#include <base/failure/exStandard.h>
#include <base/trace/trace.h>
#include <resmgt/content/src/ctAsyncGroup.h>

#include <chrono>
#include <new>
#include <thread>

namespace Qv {

namespace {

using Guard = LkGuard<const LkLock>;

} // namespace

/// Counts an asynchronous request that isn't queued yet; gives the count back unless it is kept.
class CtNonAsyncServer::Count {
public:
    explicit Count( CtNonAsyncServer& server ) noexcept
        : _server( server ) {
        server._nbAsyncRequests.fetch_add( 1, std::memory_order_relaxed );
    }
    Count( const Count& ) = delete;
    Count& operator=( const Count& ) = delete;
    ~Count() {
        if( !_isKept ) {
            _server.uncount();
        }
    }

    void keep() noexcept { _isKept = true; }

private:
    CtNonAsyncServer& _server;
    bool _isKept = false;
};

CtNonAsyncServer::CtNonAsyncServer( const LiString& configuration, const CtEngineOptions& options )
    : CtServer( configuration ) {
    if( options.nbSyncPrioRequests > 0 || options.nbAsyncPrioThreads > 0 ) {
        _prioAccess.reset( new CtPrioAccess( options.nbSyncPrioRequests, *getTally() ) );
    }
    _asyncGroup = AsyncGroup::create( *this, options );
}

CtNonAsyncServer::~CtNonAsyncServer() noexcept( false ) {
    if( _isDrained.load( std::memory_order_relaxed ) ) {
        return;
    }
    _isStoreGone.store( true, std::memory_order_relaxed );
    drain();
    const bool isUnwinding = std::uncaught_exceptions() > 0;
    if( isUnwinding && getCounters().nbAsync == 0 ) {
        // The constructor of the derived class has failed.
        return;
    }
    try {
        Assertions::throwAssertionFailed( QV_HERE, "_isDrained" );
    } catch( ... ) {
        if( !isUnwinding ) {
            throw;
        }
        Trace::printCurrentException( "CtNonAsyncServer::~CtNonAsyncServer", QV_HERE );
    }
}

void CtNonAsyncServer::drain() {
    for( ;; ) {
        try {
            awaitEnd();
            return;
        } catch( const std::bad_alloc& ) {
            // Of a first wait. There is no way back from a destructor: it looks again.
            std::this_thread::sleep_for( std::chrono::milliseconds( 1 ) );
        }
    }
}

void CtNonAsyncServer::awaitEnd() {
    if( !_asyncGroup.isNull() ) {
        _asyncGroup->drain();
    }
    const Guard guard( _asyncLock );
    while( isProcessing() ) {
        _asyncProcessed.wait( _asyncLock );
    }
    while( _nbBlockers > 0 ) {
        _asyncUnblocked.wait( _asyncLock );
    }
    _isDrained.store( true, std::memory_order_relaxed );
}

void CtNonAsyncServer::expectStore() const {
    QV_ASSERT_TEXT( !_isDrained.load( std::memory_order_relaxed ), "!_isDrained" );
}

void CtNonAsyncServer::blockUntilProcessed() {
    // Its own request could be the one that is waited for.
    QV_ASSERT( _asyncGroup.isNull() || !_asyncGroup->isOwnWorker() );
    const Guard guard( _asyncLock );
    ++_nbBlockers;
    try {
        while( isProcessing() ) {
            _asyncProcessed.wait( _asyncLock );
        }
    } catch( ... ) {
        leaveBlockers();
        throw;
    }
    leaveBlockers();
}

bool CtNonAsyncServer::isProcessing() const {
    return _nbAsyncRequests.load( std::memory_order_acquire ) > 0;
}

void CtNonAsyncServer::leaveBlockers() {
    if( --_nbBlockers == 0 ) {
        _asyncUnblocked.broadcast();
    }
}

MtPoolSnapshot CtNonAsyncServer::getSnapshot() const {
    return _asyncGroup.isNull() ? MtPoolSnapshot() : _asyncGroup->getSnapshot();
}

CtHintPtr CtNonAsyncServer::read( const CtPxTileId& tile, void* memory, const CtHintPtr& hint ) {
    return transfer( &CtNonAsyncServer::performRead, tile, memory, makeReadHint( tile, hint ) );
}

CtHintPtr CtNonAsyncServer::write( const CtPxTileId& tile, const void* memory,
                                   const CtHintPtr& hint ) {
    return transfer( &CtNonAsyncServer::performWrite, tile, const_cast<void*>( memory ),
                     makeWriteHint( tile, hint ) );
}

CtHintPtr CtNonAsyncServer::asyncRead( const CtPxTileId& tile, void* memory, const CtHintPtr& hint,
                                       LkAsyncHandle* handle ) {
    return submit( AsyncRequest( *this, &CtNonAsyncServer::performRead, tile, memory,
                                 makeReadHint( tile, hint ), handle ) );
}

CtHintPtr CtNonAsyncServer::asyncWrite( const CtPxTileId& tile, const void* memory,
                                        const CtHintPtr& hint, LkAsyncHandle* handle ) {
    return submit( AsyncRequest( *this, &CtNonAsyncServer::performWrite, tile,
                                 const_cast<void*>( memory ), makeWriteHint( tile, hint ),
                                 handle ) );
}

void CtNonAsyncServer::performRead( CtNonAsyncServer& server, const CtPxTileId& tile, void* memory,
                                    const CtHintPtr& hint ) {
    server.readImp( tile, memory, hint );
    server.getTally()->countRead( tile.getSize() );
}

void CtNonAsyncServer::performWrite( CtNonAsyncServer& server, const CtPxTileId& tile, void* memory,
                                     const CtHintPtr& hint ) {
    server.writeImp( tile, memory, hint );
    server.getTally()->countWrite( tile.getSize() );
}

CtHintPtr CtNonAsyncServer::transfer( Operation operation, const CtPxTileId& tile, void* memory,
                                      CtHintPtr hint ) {
    expectStore();
    const CtPrioAccess::Pass pass( _prioAccess.get(), tile );
    try {
        operation( *this, tile, memory, hint );
    } catch( ... ) {
        getTally()->countFailure();
        throw;
    }
    return hint;
}

CtHintPtr CtNonAsyncServer::submit( AsyncRequest&& request ) {
    QV_ASSERT_TEXT( request.getHandle() != nullptr, "!_asyncHandler.isNull()" );
    expectStore();
    CtHintPtr hint = request.getHint();
    Count count( *this );
    if( _asyncGroup.isNull() ) {
        count.keep();
        serve( request );
    } else {
        _asyncGroup->push( std::move( request ) );
        count.keep();
    }
    return hint;
}

void CtNonAsyncServer::serve( AsyncRequest& request ) noexcept {
    const std::exception_ptr failure = tryTransfer( request );
    request.dropHint();
    uncount();
    complete( request.getTile(), request.getHandle(), failure );
}

std::exception_ptr CtNonAsyncServer::tryTransfer( const AsyncRequest& request ) noexcept {
    getTally()->countAsync();
    try {
        if( _isStoreGone.load( std::memory_order_relaxed ) ) {
            throw ExInternalError( QV_HERE, "The store has ended with requests in its queue." );
        }
        request.transfer();
        return nullptr;
    } catch( ... ) {
        return std::current_exception();
    }
}

void CtNonAsyncServer::uncount() {
    unsigned int seen = _nbAsyncRequests.load( std::memory_order_relaxed );
    while( seen > 1 ) {
        if( _nbAsyncRequests.compare_exchange_weak( seen, seen - 1, std::memory_order_acq_rel,
                                                    std::memory_order_relaxed ) ) {
            return;
        }
    }
    const Guard guard( _asyncLock );
    if( _nbAsyncRequests.fetch_sub( 1, std::memory_order_acq_rel ) == 1 ) {
        // Under the lock: without it the server may be gone.
        _asyncProcessed.broadcast();
    }
}

} // namespace Qv
