#pragma once

#include <base/failure/exStandard.h>
#include <mediaTiles/tiBufferFactory.h>
#include <resmgt/content/ctEx.h>
#include <resmgt/content/test/ctTestStores.h>
#include <resmgt/memoryBuffers/mbBufferRdGuardImp.h>
#include <resmgt/memoryBuffers/mbBufferWrGuardImp.h>
#include <resmgt/memoryBuffers/mbHeapManager.h>
#include <resmgt/memoryBuffers/mbStateMachine.h>
#include <resmgt/memoryBuffers/mbUnloadLRU.h>

#include <atomic>
#include <climits>
#include <cstring>
#include <functional>
#include <string>

namespace Qv {

/// A store in memory whose calls can be made to fail.
class FailingStore : public BlockingStore {
public:
    enum Call { NOTHING = 0, CREATE = 1, OPEN = 2, TRANSFER = 4 };

    explicit FailingStore( const CtEngineOptions& options = CtEngineOptions::getConfigured() )
        : BlockingStore( "memory://tiles", options ) {
        onTransfer = [this]( const CtPxTileId& ) { fail( TRANSFER ); };
    }
    ~FailingStore() override { drain(); }

    CtServer::NewTile createTile( unsigned int size ) override {
        if( onCreate ) {
            onCreate();
        }
        fail( CREATE );
        if( size > mostBytes ) {
            throw CtEx::ExNotEnoughSpace( QV_HERE, "no room" );
        }
        return BlockingStore::createTile( size );
    }

    unsigned int getBlockSize() const override { return blockSize; }

    /// With one that no tile's size is a multiple of, each tile has a block of its own.
    unsigned int blockSize = 1;
    std::function<void()> onCreate;
    /// Larger blocks have no room.
    std::atomic<unsigned int> mostBytes = UINT_MAX;
    /// A sum of calls.
    std::atomic<int> failing = NOTHING;
    /// How often there was no hint to use.
    std::atomic<int> nbOpened = 0;

protected:
    CtHintPtr makeReadHint( const CtPxTileId& tile, const CtHintPtr& hint ) override {
        return open( tile, hint );
    }
    CtHintPtr makeWriteHint( const CtPxTileId& tile, const CtHintPtr& hint ) override {
        return open( tile, hint );
    }

private:
    CtHintPtr open( const CtPxTileId& tile, const CtHintPtr& hint ) {
        fail( OPEN );
        nbOpened += hint.isNull() ? 1 : 0;
        return makeHint( tile, hint );
    }
    void fail( Call call ) const {
        if( ( failing & call ) != 0 ) {
            throw ExInternalError( QV_HERE, "the disk is on fire" );
        }
    }
};

/// Makes tiles that share a memory with room for a few of them.
class TestTiles {
public:
    static constexpr int SIZE = 256;

    TestTiles( CtServer& server, unsigned int room )
        : _factory(
              MbStateMachine::getInstance( MbStateMachine::UNTRACED, MbStateMachine::RELAXED )
                  .getInitialState(),
              RCShdPtr<MbManager>( new MbHeapManager( "test tiles", room * ( SIZE + 127ULL ),
                                                      OPtr<MbUnloadStrategy>( new MbUnloadLRU ) ) ),
              RCShdPtr<TiStore>( new TiStore( server ) ) ) {}

    MbBuffer make( int size = SIZE ) { return _factory.create( "tile", size ); }
    TiCounts getCounts() const { return _factory.getStore()->getCounts(); }

    static void fill( MbBuffer& tile, char value ) {
        const MbBufferWrGuardImp guard( tile );
        std::memset( guard.getMemory(), value, static_cast<std::size_t>( tile.getSize() ) );
    }
    static std::string read( const MbBuffer& tile ) {
        const MbBufferRdGuardImp guard( tile );
        return { static_cast<const char*>( guard.getMemory() ),
                 static_cast<std::size_t>( tile.getSize() ) };
    }
    static bool isFilledWith( const MbBuffer& tile, char value ) {
        return read( tile ) == std::string( static_cast<std::size_t>( tile.getSize() ), value );
    }
    /// With room for one tile, that takes away any other.
    static void lock( const MbBuffer& tile ) { const MbBufferRdGuardImp guard( tile ); }

private:
    TiBufferFactory _factory;
};

} // namespace Qv
