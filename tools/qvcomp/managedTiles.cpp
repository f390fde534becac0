#include <tools/qvcomp/managedTiles.h>

#include <tools/qvcomp/failure.h>
#include <tools/qvcomp/tileProtocol.h>

#include <resmgt/dynamicAllocation/daArenaPool.h>
#include <resmgt/memoryBuffers/mbAlignment.h>
#include <resmgt/memoryBuffers/mbArenaManager.h>
#include <resmgt/memoryBuffers/mbBuffer.h>
#include <resmgt/memoryBuffers/mbBufferRdGuardImp.h>
#include <resmgt/memoryBuffers/mbBufferSimpleFactory.h>
#include <resmgt/memoryBuffers/mbBufferWrGuardImp.h>
#include <resmgt/memoryBuffers/mbHeapManager.h>
#include <resmgt/memoryBuffers/mbStateMachine.h>
#include <resmgt/memoryBuffers/mbUnloadLRU.h>
#include <resmgt/memoryBuffers/mbUnloadRandom.h>

#include <new>

namespace Qv::Comp {

namespace {

/// Tiles begin on a cache line of any processor; the same as the factory's own default.
constexpr std::size_t ALIGNMENT = 128;
/// Any seed will do; a fixed one makes runs alike.
constexpr int RANDOM_SEED = 1;
/// A thread asks for so many tiles at most in advance: more would be evicted before their use.
constexpr std::size_t MAX_PREFETCH_DEPTH = 16;

std::size_t getTileBytes( int tileSide ) noexcept {
    const auto side = static_cast<std::size_t>( tileSide );
    const std::size_t bytes = side * side * CHANNELS * sizeof( float );
    return ( bytes + ALIGNMENT - 1 ) / ALIGNMENT * ALIGNMENT;
}

/// Gives the pool one piece of exactly the size that it asks for.
class WholePiece : public DaArenaAllocator {
public:
    Pieces allocate( std::size_t size ) override {
        Pieces pieces;
        void* memory = ::operator new( size, std::align_val_t( ALIGNMENT ), std::nothrow );
        if( memory == nullptr ) {
            // An empty pool would let its first user wait for ever.
            throw Failure( Tag::NO_ARENA, size );
        }
        pieces.push_back( { memory, size } );
        return pieces;
    }

    void deallocate( const Pieces& pieces, std::size_t ) override {
        for( const auto& piece : pieces ) {
            ::operator delete( piece.first, std::align_val_t( ALIGNMENT ) );
        }
    }
};

OPtrRet<MbUnloadStrategy> makeStrategy( Strategy strategy ) {
    return strategy == Strategy::LRU ? OPtr<MbUnloadStrategy>( new MbUnloadLRU )
                                     : OPtr<MbUnloadStrategy>( new MbUnloadRandom( RANDOM_SEED ) );
}

RCShdPtr<MbManager> makeManager( const ManagedTiles::Settings& settings, std::uint64_t bytes ) {
    const std::string name = "qvcomp tiles";
    if( settings.manager == Manager::HEAP ) {
        return RCShdPtr<MbManager>(
            new MbHeapManager( name, bytes, makeStrategy( settings.strategy ) ) );
    }
    const std::size_t poolBytes = bytes / ALIGNMENT * ALIGNMENT;
    return RCShdPtr<MbManager>(
        new MbArenaManager( name, DaArenaPool::create( new WholePiece, poolBytes ),
                            makeStrategy( settings.strategy ) ) );
}

const MbState* getInitialState( Policy policy ) {
    return MbStateMachine::getInstance( MbStateMachine::UNTRACED, policy == Policy::RELAXED
                                                                      ? MbStateMachine::RELAXED
                                                                      : MbStateMachine::STRICT )
        .getInitialState();
}

/// Memory beyond that of all tiles is never used.
std::uint64_t getCapacity( const ManagedTiles::Settings& settings ) {
    const std::uint64_t all =
        ManagedTiles::getLeastMemory( settings.tileSide, settings.threads ) +
        ManagedTiles::getTileMemory( settings.tileSide, settings.workingTiles );
    return std::min( settings.memory.value_or( all ), all );
}

} // namespace

class ManagedTiles::Plane : public TilePlane {
public:
    Plane( ManagedTiles& store, const std::string& name, int width, int height )
        : TilePlane( width, height, store._tileSide )
        , _store( store ) {
        _buffers.reserve( getTileCount() );
        for( std::size_t i = 0; i < getTileCount(); ++i ) {
            _buffers.push_back( store.createBuffer( name + ' ' + std::to_string( i ) ) );
        }
    }

private:
    std::shared_ptr<const float> performRead( std::size_t index ) override {
        _store._spill.failure.raise();
        const auto guard = std::make_shared<MbBufferRdGuardImp>( _buffers[index] );
        _store.notePeak();
        return { guard, static_cast<const float*>( guard->getMemory() ) };
    }

    std::shared_ptr<float> performWrite( std::size_t index ) override {
        _store._spill.failure.raise();
        const auto guard = std::make_shared<MbBufferWrGuardImp>( _buffers[index] );
        _store.notePeak();
        return { guard, static_cast<float*>( guard->getMemory() ) };
    }

    void performPrefetch( std::size_t index ) override { _buffers[index].prefetch(); }

    void performFinish( std::size_t index ) override {
        if( _store._mustSpill ) {
            _buffers[index].asyncSync();
        }
    }

    void performDiscard( std::size_t index ) override { _buffers[index].free(); }

    ManagedTiles& _store;
    std::vector<MbBuffer> _buffers;
};

ManagedTiles::ManagedTiles( const Settings& settings, Workers& computing )
    : _tileSide( settings.tileSide )
    , _capacity( getCapacity( settings ) )
    , _mustSpill( _capacity < getTileMemory( settings.tileSide, settings.workingTiles ) )
    , _spare( ( _capacity - getLeastMemory( settings.tileSide, settings.threads ) ) /
              getTileMemory( settings.tileSide, 1 ) )
    , _prefetchDepth( _mustSpill
                          ? std::min( _spare / static_cast<std::size_t>( 2 * settings.threads ),
                                      MAX_PREFETCH_DEPTH )
                          : 0 )
    , _spill( settings.scratchFolder, getTileBytes( settings.tileSide ), computing, _spare )
    , _manager( makeManager( settings, _capacity ) )
    , _factory( new MbBufferSimpleFactory( getInitialState( settings.policy ), _manager ) ) {}

ManagedTiles::~ManagedTiles() = default;

std::unique_ptr<TilePlane> ManagedTiles::createPlane( const std::string& name, int width,
                                                      int height ) {
    auto plane = std::make_unique<Plane>( *this, name, width, height );
    _spill.counts.tiles.fetch_add( plane->getTileCount(), std::memory_order_relaxed );
    return plane;
}

std::uint64_t ManagedTiles::getTileMemory( int tileSide, std::size_t count ) noexcept {
    // A manager on the heap asks for so much more to be able to align each tile.
    return ( getTileBytes( tileSide ) + ALIGNMENT - 1 ) * std::uint64_t{ count };
}

std::uint64_t ManagedTiles::getLeastMemory( int tileSide, int threads ) noexcept {
    return getTileMemory( tileSide, 2 * static_cast<std::size_t>( threads ) );
}

MbBuffer ManagedTiles::createBuffer( const std::string& name ) {
    return _factory->create( LiString( name ), OPtr<MbProtocol>( new TileProtocol( _spill ) ),
                             static_cast<int>( getTileBytes( _tileSide ) ),
                             MbAlignment( ALIGNMENT - 1, 0, 0 ) );
}

void ManagedTiles::notePeak() {
    const std::uint64_t used = _manager->getSize() - _manager->getFreeSpace();
    std::uint64_t peak = _peakBytes.load( std::memory_order_relaxed );
    while( used > peak &&
           !_peakBytes.compare_exchange_weak( peak, used, std::memory_order_relaxed ) ) {}
}

} // namespace Qv::Comp
