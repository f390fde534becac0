#include <mediaTiles/tiProtocol.h>

#include <mediaTiles/src/tiBlock.h>
#include <mediaTiles/src/tiFailure.h>
#include <resmgt/locks/lkAsyncHandle.h>

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
        _block->read( memory );
    } catch( ... ) {
        _block->dropHint();
        throw;
    }
    count( _store->_nbReloads );
}

void TiProtocol::asyncReload( void* memory, unsigned long long size, LkAsyncHandle* handle ) {
    if( _content != Content::SAVED ) {
        asyncLoad( memory, size, handle );
    } else if( !tryAhead( [&] { _block->asyncRead( memory, handle ); } ) ) {
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
        needBlock( size ).write( memory );
    } catch( ... ) {
        giveUpBlock();
        throw;
    }
    noteSaved();
}

void TiProtocol::asyncSync( void* memory, unsigned long long size, LkAsyncHandle* handle ) {
    if( _content != Content::CHANGED ) {
        handle->asyncSucceeded();
    } else if( !tryAhead( [&] { needBlock( size ).asyncWrite( memory, handle ); } ) ) {
        handle->asyncFailed();
    }
}

void TiProtocol::asyncSyncSucceeded() {
    if( _content == Content::CHANGED ) {
        noteSaved();
    }
}

void TiProtocol::asyncSyncFailed() {
    giveUpBlock();
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

TiBlock& TiProtocol::needBlock( unsigned long long size ) {
    if( _block == nullptr ) {
        _block = _store->takeBlock( static_cast<unsigned int>( size ) );
    }
    return *_block;
}

void TiProtocol::noteSaved() noexcept {
    _content = Content::SAVED;
    count( _store->_nbSaves );
}

void TiProtocol::giveUpBlock() noexcept {
    if( _block != nullptr ) {
        _block->remove();
        _block.reset();
    }
}

void TiProtocol::endContent() noexcept {
    if( _block != nullptr ) {
        _store->giveBack( std::move( _block ) );
    }
    _content = Content::INITIAL;
}

} // namespace Qv
