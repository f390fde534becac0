#include <mediaTiles/tiProtocol.h>

#include <mediaTiles/src/tiBlockPool.h>
#include <mediaTiles/src/tiFailure.h>
#include <resmgt/locks/lkAsyncHandle.h>

#include <utility>

namespace Qv {

namespace {

void count( std::atomic<std::uint64_t>& counter ) noexcept {
    counter.fetch_add( 1, std::memory_order_relaxed );
}

/// Does what nobody waits for. False after a failure, which is logged.
template <class Operation>
bool tryAhead( const Operation& operation ) noexcept {
    try {
        operation();
        return true;
    } catch( ... ) {
        logFailure( "A tile can't be transferred ahead of need: " );
        return false;
    }
}

} // namespace

TiProtocol::TiProtocol( const RCShdPtr<TiStore>& store )
    : _store( store ) {}

TiProtocol::~TiProtocol() {
    endContent();
}

void TiProtocol::load( void*, unsigned long long ) {
    // What was freed while it was out of memory is still there.
    endContent();
}

void TiProtocol::asyncLoad( void* memory, unsigned long long size, LkAsyncHandle* handle ) {
    if( tryAhead( [&] { load( memory, size ); } ) ) {
        handle->asyncSucceeded();
    } else {
        handle->asyncFailed();
    }
}

void TiProtocol::reload( void* memory, unsigned long long size ) {
    if( _content != Content::SAVED ) {
        load( memory, size );
        return;
    }
    try {
        _block->read( _piece, memory );
    } catch( ... ) {
        _block->dropHint();
        throw;
    }
    count( _store->_nbReloads );
}

void TiProtocol::asyncReload( void* memory, unsigned long long size, LkAsyncHandle* handle ) {
    if( _content != Content::SAVED ) {
        asyncLoad( memory, size, handle );
    } else if( !tryAhead( [&] { _block->asyncRead( _piece, memory, handle ); } ) ) {
        handle->asyncFailed();
    }
}

void TiProtocol::asyncReloadSucceeded() {
    if( _content == Content::SAVED ) {
        count( _store->_nbReloads );
        count( _store->_nbPrefetches );
    }
}

void TiProtocol::asyncReloadFailed() {
    if( _content == Content::SAVED ) {
        _block->dropHint();
    }
}

void TiProtocol::sync( void* memory, unsigned long long size ) {
    if( _content != Content::CHANGED ) {
        return;
    }
    try {
        needPlace( size, true );
        _block->write( _piece, memory );
    } catch( ... ) {
        giveUpPlace();
        throw;
    }
    noteSaved();
}

void TiProtocol::asyncSync( void* memory, unsigned long long size, LkAsyncHandle* handle ) {
    if( _content != Content::CHANGED ) {
        handle->asyncSucceeded();
        return;
    }
    const auto write = [&] {
        needPlace( size, false );
        _block->asyncWrite( _piece, memory, handle );
    };
    if( !tryAhead( write ) ) {
        handle->asyncFailed();
    }
}

void TiProtocol::asyncSyncSucceeded() {
    if( _content == Content::CHANGED ) {
        noteSaved();
    }
}

void TiProtocol::asyncSyncFailed() {
    // A success that an override has refused was noted already.
    _content = Content::CHANGED;
    giveUpPlace();
}

bool TiProtocol::unload( void* memory, unsigned long long size ) {
    sync( memory, size );
    count( _store->_nbEvictions );
    return true;
}

void TiProtocol::free( void*, unsigned long long ) {
    endContent();
}

void TiProtocol::markDirty( void*, unsigned long long ) {
    _content = Content::CHANGED;
}

void TiProtocol::needPlace( unsigned long long size, bool mayWait ) {
    if( _block == nullptr ) {
        const TiPiece piece = _store->getPool( static_cast<unsigned int>( size ) ).take( mayWait );
        _block = piece.block;
        _piece = piece.index;
    }
}

void TiProtocol::noteSaved() noexcept {
    _content = Content::SAVED;
    count( _store->_nbSaves );
}

void TiProtocol::giveUpPlace() noexcept {
    if( _block != nullptr ) {
        TiBlock* const block = std::exchange( _block, nullptr );
        block->getPool().giveUp( { block, _piece } );
    }
}

void TiProtocol::endContent() noexcept {
    if( _block != nullptr ) {
        TiBlock* const block = std::exchange( _block, nullptr );
        block->getPool().giveBack( { block, _piece } );
    }
    _content = Content::INITIAL;
}

} // namespace Qv
