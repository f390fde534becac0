#include <resmgt/content/test/ctTestStores.h>

#include <base/failure/exStandard.h>

#include <cstring>

namespace Qv {

CtStTileId MemoryBlocks::make( unsigned int size ) {
    auto block = std::make_shared<Block>( size );
    const std::lock_guard guard( _mutex );
    const CtSerialId id( ++_nbMade );
    _blocks.emplace( id, std::move( block ) );
    return CtStTileId( id, size );
}

void MemoryBlocks::remove( CtSerialId id ) {
    const std::lock_guard guard( _mutex );
    if( _blocks.erase( id ) == 0 ) {
        throw ExInternalError( QV_HERE, "no such block" );
    }
}

void MemoryBlocks::clear() {
    const std::lock_guard guard( _mutex );
    _blocks.clear();
}

std::shared_ptr<MemoryBlocks::Block> MemoryBlocks::find( CtSerialId id ) const {
    const std::lock_guard guard( _mutex );
    const auto place = _blocks.find( id );
    if( place == _blocks.end() ) {
        throw ExInternalError( QV_HERE, "no such block" );
    }
    return place->second;
}

bool MemoryBlocks::isValid( const CtStTileId& tile, int mode ) const {
    const std::lock_guard guard( _mutex );
    const auto place = _blocks.find( tile.getSerialId() );
    return place != _blocks.end() &&
           ( mode == CtServer::ANY_SIZE || place->second->size() == tile.getSize() );
}

OPtrRet<Set<CtSerialId>> MemoryBlocks::getIds() const {
    OPtr<Set<CtSerialId>> ids( new Set<CtSerialId> );
    const std::lock_guard guard( _mutex );
    for( const auto& block : _blocks ) {
        ids->insert( block.first );
    }
    return ids;
}

char* MemoryBlocks::getPiece( Block& block, const CtPxTileId& tile ) {
    if( std::uint64_t{ tile.getOffset() } + tile.getSize() > block.size() ) {
        throw ExInternalError( QV_HERE, "beyond the block" );
    }
    return block.data() + tile.getOffset();
}

void BlockingStore::readImp( const CtPxTileId& tile, void* memory, const CtHintPtr& hint ) {
    if( onTransfer ) {
        onTransfer( tile );
    }
    std::memcpy( memory, getPiece( tile, hint ), tile.getSize() );
}

void BlockingStore::writeImp( const CtPxTileId& tile, const void* memory, const CtHintPtr& hint ) {
    if( onTransfer ) {
        onTransfer( tile );
    }
    std::memcpy( getPiece( tile, hint ), memory, tile.getSize() );
}

EventStore::EventStore( const LiString& configuration )
    : MemoryStore( configuration )
    , _loop( [this] { run(); } ) {}

EventStore::~EventStore() {
    {
        const std::lock_guard guard( _mutex );
        _isOver = true;
        _isPaused = false;
        _changed.notify_all();
    }
    _loop.join();
}

void EventStore::blockUntilProcessed() {
    QV_ASSERT( std::this_thread::get_id() != _loop.get_id() );
    std::unique_lock lock( _mutex );
    _changed.wait( lock, [this] { return _requests.empty() && _nbInTransfer == 0; } );
}

CtHintPtr EventStore::read( const CtPxTileId& tile, void* memory, const CtHintPtr& hint ) {
    const Request request{ false, tile, memory, makeHint( tile, hint ), nullptr };
    move( request );
    getTally()->countRead( tile.getSize() );
    return request.hint;
}

CtHintPtr EventStore::write( const CtPxTileId& tile, const void* memory, const CtHintPtr& hint ) {
    const Request request{ true, tile, const_cast<void*>( memory ), makeHint( tile, hint ),
                           nullptr };
    move( request );
    getTally()->countWrite( tile.getSize() );
    return request.hint;
}

CtHintPtr EventStore::asyncRead( const CtPxTileId& tile, void* memory, const CtHintPtr& hint,
                                 LkAsyncHandle* handle ) {
    return submit( { false, tile, memory, makeHint( tile, hint ), handle } );
}

CtHintPtr EventStore::asyncWrite( const CtPxTileId& tile, const void* memory, const CtHintPtr& hint,
                                  LkAsyncHandle* handle ) {
    return submit( { true, tile, const_cast<void*>( memory ), makeHint( tile, hint ), handle } );
}

void EventStore::loseConnection() {
    const std::lock_guard guard( _mutex );
    _isLost = true;
}

void EventStore::pause() {
    const std::lock_guard guard( _mutex );
    _isPaused = true;
}

void EventStore::resume() {
    const std::lock_guard guard( _mutex );
    _isPaused = false;
    _changed.notify_all();
}

void EventStore::move( const Request& request ) {
    char* const piece = getPiece( request.tile, request.hint );
    if( request.isWrite ) {
        std::memcpy( piece, request.memory, request.tile.getSize() );
    } else {
        std::memcpy( request.memory, piece, request.tile.getSize() );
    }
}

CtHintPtr EventStore::submit( Request request ) {
    QV_ASSERT( request.handle != nullptr );
    CtHintPtr hint = request.hint;
    const std::lock_guard guard( _mutex );
    _requests.push_back( std::move( request ) );
    _changed.notify_all();
    return hint;
}

void EventStore::run() {
    std::unique_lock lock( _mutex );
    for( ;; ) {
        _changed.wait( lock, [this] { return _isOver || ( !_requests.empty() && !_isPaused ); } );
        if( _requests.empty() ) {
            return;
        }
        Request request = std::move( _requests.front() );
        _requests.pop_front();
        ++_nbInTransfer;
        const bool isLost = _isLost;
        lock.unlock();
        serve( std::move( request ), isLost );
        lock.lock();
    }
}

void EventStore::serve( Request request, bool isLost ) {
    std::exception_ptr failure;
    getTally()->countAsync();
    try {
        if( isLost ) {
            throw ExInternalError( QV_HERE, "connection lost" );
        }
        move( request );
        request.isWrite ? getTally()->countWrite( request.tile.getSize() )
                        : getTally()->countRead( request.tile.getSize() );
    } catch( ... ) {
        failure = std::current_exception();
    }
    request.hint = CtHintPtr();
    {
        const std::lock_guard guard( _mutex );
        --_nbInTransfer;
        _changed.notify_all();
    }
    complete( request.tile, request.handle, failure );
}

} // namespace Qv
