#include <tools/qvcomp/tileProtocol.h>

#include <tools/qvcomp/log.h>

#include <resmgt/locks/lkAsyncHandle.h>

namespace Qv::Comp {

TileProtocol::TileProtocol( Spill& spill )
    : _spill( spill ) {}

TileProtocol::~TileProtocol() {
    giveSlotBack();
}

void TileProtocol::reload( void* memory, unsigned long long size ) {
    // The first filling: nothing was ever stored, and the first writer writes all of the tile.
    if( !_isStored ) {
        return;
    }
    _spill.scratch.read( *_slot, memory );
    _spill.counts.reloads.fetch_add( 1, std::memory_order_relaxed );
    _spill.counts.bytesRead.fetch_add( size, std::memory_order_relaxed );
}

void TileProtocol::asyncReload( void* memory, unsigned long long size, LkAsyncHandle* handle ) {
    runAsync( handle, [this, memory, size] {
        reload( memory, size );
        _spill.counts.prefetches.fetch_add( 1, std::memory_order_relaxed );
    } );
}

void TileProtocol::sync( void* memory, unsigned long long size ) {
    if( _isStored ) {
        return;
    }
    if( !_slot ) {
        _slot = _spill.scratch.takeSlot();
    }
    _spill.scratch.write( *_slot, memory );
    _isStored = true;
    _spill.counts.bytesWritten.fetch_add( size, std::memory_order_relaxed );
}

void TileProtocol::asyncSync( void* memory, unsigned long long size, LkAsyncHandle* handle ) {
    runAsync( handle, [this, memory, size] { sync( memory, size ); } );
}

bool TileProtocol::unload( void* memory, unsigned long long size ) {
    sync( memory, size );
    const std::uint64_t nbFormer =
        _spill.counts.evictions.fetch_add( 1, std::memory_order_relaxed );
    QV_LOG( Qvcomp, Tracing, "eviction ", nbFormer + 1, ", ", size, " bytes" );
    return true;
}

void TileProtocol::free( void*, unsigned long long ) {
    giveSlotBack();
}

void TileProtocol::markDirty( void*, unsigned long long ) {
    _isStored = false;
}

template <class Transfer>
void TileProtocol::runAsync( LkAsyncHandle* handle, const Transfer& transfer ) {
    const auto operation = [&spill = _spill, handle, transfer] {
        try {
            transfer();
        } catch( ... ) {
            spill.failure.keep( std::current_exception() );
            handle->asyncFailed();
            return;
        }
        handle->asyncSucceeded();
    };
    if( !_spill.worker.tryPost( operation ) ) {
        operation();
    }
}

void TileProtocol::giveSlotBack() noexcept {
    if( _slot ) {
        _spill.scratch.giveSlotBack( *_slot );
        _slot.reset();
    }
    _isStored = false;
}

} // namespace Qv::Comp
