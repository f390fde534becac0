#include <tools/qvcomp/managedTiles.h>

#include <tools/qvcomp/failure.h>
#include <tools/qvcomp/log.h>

#include <mediaTiles/tiProtocol.h>
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

/// Tiles are whole cache lines of any processor.
constexpr std::size_t UNIT = 128;
/// Any seed will do; a fixed one makes runs alike.
constexpr int RANDOM_SEED = 1;
/// A thread asks for so many tiles at most in advance: more would be evicted before their use.
constexpr std::size_t MAX_PREFETCH_DEPTH = 16;

std::size_t getTileBytes( int tileSide ) noexcept {
    const auto side = static_cast<std::size_t>( tileSide );
    const std::size_t bytes = side * side * CHANNELS * sizeof( float );
    return ( bytes + UNIT - 1 ) / UNIT * UNIT;
}

/// Logs its evictions.
class Tile : public TiProtocol {
public:
    Tile( const RCShdPtr<TiStore>& store, std::atomic<std::uint64_t>& nbEvictions )
        : TiProtocol( store )
        , _nbEvictions( nbEvictions ) {}

    bool unload( void* memory, unsigned long long size ) override {
        const bool isUnloaded = TiProtocol::unload( memory, size );
        const std::uint64_t nbFormer = _nbEvictions.fetch_add( 1, std::memory_order_relaxed );
        QV_LOG( Qvcomp, Tracing, "eviction ", nbFormer + 1, ", ", size, " bytes" );
        return isUnloaded;
    }

private:
    std::atomic<std::uint64_t>& _nbEvictions;
};

/// Gives the pool one piece of exactly the size that it asks for.
class WholePiece : public DaArenaAllocator {
public:
    explicit WholePiece( std::size_t alignment )
        : _alignment( std::align_val_t( alignment ) ) {}

    Pieces allocate( std::size_t size ) override {
        Pieces pieces;
        void* memory = ::operator new( size, _alignment, std::nothrow );
        if( memory == nullptr ) {
            // An empty pool would let its first user wait for ever.
            throw Failure( Tag::NO_ARENA, size );
        }
        pieces.push_back( { memory, size } );
        return pieces;
    }

    void deallocate( const Pieces& pieces, std::size_t ) override {
        for( const auto& piece : pieces ) {
            ::operator delete( piece.first, _alignment );
        }
    }

private:
    const std::align_val_t _alignment;
};

OPtrRet<MbUnloadStrategy> makeStrategy( Strategy strategy ) {
    return strategy == Strategy::LRU ? OPtr<MbUnloadStrategy>( new MbUnloadLRU )
                                     : OPtr<MbUnloadStrategy>( new MbUnloadRandom( RANDOM_SEED ) );
}

RCShdPtr<MbManager> makeManager( const ManagedTiles::Settings& settings, std::uint64_t bytes,
                                 std::size_t alignment ) {
    const std::string name = "qvcomp tiles";
    if( settings.manager == Manager::HEAP ) {
        return RCShdPtr<MbManager>(
            new MbHeapManager( name, bytes, makeStrategy( settings.strategy ) ) );
    }
    const std::size_t poolBytes = bytes / alignment * alignment;
    return RCShdPtr<MbManager>(
        new MbArenaManager( name, DaArenaPool::create( new WholePiece( alignment ), poolBytes ),
                            makeStrategy( settings.strategy ) ) );
}

const MbState* getInitialState( Policy policy ) {
    return MbStateMachine::getInstance( MbStateMachine::UNTRACED, policy == Policy::RELAXED
                                                                      ? MbStateMachine::RELAXED
                                                                      : MbStateMachine::STRICT )
        .getInitialState();
}

/// Memory beyond that of all tiles is never used.
std::uint64_t limitCapacity( const ManagedTiles::Settings& settings ) {
    const bool isUnbuffered = settings.cache.isUnbuffered;
    const std::uint64_t all =
        ManagedTiles::getLeastMemory( settings.tileSide, isUnbuffered, settings.threads ) +
        ManagedTiles::getTileMemory( settings.tileSide, isUnbuffered, settings.workingTiles );
    return std::min( settings.memory.value_or( all ), all );
}

/// How many tiles each thread may ask for in advance: half of what there is room for beside those
/// that the threads must have.
std::size_t computePrefetchDepth( const ManagedTiles::Settings& settings, std::uint64_t capacity ) {
    const bool isUnbuffered = settings.cache.isUnbuffered;
    const std::uint64_t tile = ManagedTiles::getTileMemory( settings.tileSide, isUnbuffered, 1 );
    if( capacity >= tile * settings.workingTiles ) {
        return 0;
    }
    const std::uint64_t least =
        ManagedTiles::getLeastMemory( settings.tileSide, isUnbuffered, settings.threads );
    const std::uint64_t spare = ( capacity - least ) / tile;
    return std::min<std::size_t>( spare / static_cast<unsigned>( 2 * settings.threads ),
                                  MAX_PREFETCH_DEPTH );
}

} // namespace

class ManagedTiles::Plane : public TilePlane {
public:
    Plane( ManagedTiles& store, const std::string& name, int width, int height )
        : TilePlane( width, height, getTileSize( store._tileSide, width ) )
        , _store( store ) {
        _buffers.reserve( getTileCount() );
        for( std::size_t i = 0; i < getTileCount(); ++i ) {
            _buffers.push_back( store.createBuffer( name + ' ' + std::to_string( i ) ) );
        }
    }

private:
    std::shared_ptr<const float> performRead( std::size_t index ) override {
        const auto guard = lock<MbBufferRdGuardImp>( index );
        _store.notePeak();
        return { guard, static_cast<const float*>( guard->getMemory() ) };
    }

    std::shared_ptr<float> performWrite( std::size_t index ) override {
        const auto guard = lock<MbBufferWrGuardImp>( index );
        _store.notePeak();
        return { guard, static_cast<float*>( guard->getMemory() ) };
    }

    void performPrefetch( std::size_t index ) override {
        _store._cache.access( [&] { _buffers[index].prefetch(); } );
    }

    void performFinish( std::size_t index ) override {
        // Without room beside what the threads need, a tile under way would be in their way.
        if( _store._prefetchDepth > 0 ) {
            _buffers[index].asyncSync();
        }
    }

    void performDiscard( std::size_t index ) override { _buffers[index].free(); }

    template <class Guard>
    std::shared_ptr<Guard> lock( std::size_t index ) {
        return _store._cache.access( [&] { return std::make_shared<Guard>( _buffers[index] ); } );
    }

    ManagedTiles& _store;
    std::vector<MbBuffer> _buffers;
};

ManagedTiles::ManagedTiles( const Settings& settings, Workers& computing )
    : _tileSide( settings.tileSide )
    , _alignment( TileCache::getAlignment( settings.cache.isUnbuffered ) )
    , _capacity( limitCapacity( settings ) )
    , _prefetchDepth( computePrefetchDepth( settings, _capacity ) )
    , _cache( settings.cache )
    , _neverAbove( "compute<=content", computing, PriorityRelation::LESS_OR_EQUAL,
                   _cache.getServer().getServerPriority() )
    , _tiles( new TiStore( _cache.getServer() ) )
    , _manager( makeManager( settings, _capacity, _alignment ) )
    , _factory( new MbBufferSimpleFactory( getInitialState( settings.policy ), _manager ) ) {}

ManagedTiles::~ManagedTiles() noexcept = default;

std::unique_ptr<TilePlane> ManagedTiles::createPlane( const std::string& name, int width,
                                                      int height ) {
    auto plane = std::make_unique<Plane>( *this, name, width, height );
    _nbTiles.fetch_add( plane->getTileCount(), std::memory_order_relaxed );
    return plane;
}

std::uint64_t ManagedTiles::getTileMemory( int tileSide, bool isUnbuffered,
                                           std::size_t count ) noexcept {
    // A manager on the heap asks for so much more to be able to align each tile.
    const std::size_t padding = TileCache::getAlignment( isUnbuffered ) - 1;
    return ( getTileBytes( tileSide ) + padding ) * std::uint64_t{ count };
}

std::uint64_t ManagedTiles::getLeastMemory( int tileSide, bool isUnbuffered,
                                            int threads ) noexcept {
    return getTileMemory( tileSide, isUnbuffered, 2 * static_cast<std::size_t>( threads ) );
}

MbBuffer ManagedTiles::createBuffer( const std::string& name ) {
    return _factory->create( LiString( name ), OPtr<MbProtocol>( new Tile( _tiles, _nbEvictions ) ),
                             static_cast<int>( getTileBytes( _tileSide ) ),
                             MbAlignment( _alignment - 1, 0, 0 ) );
}

void ManagedTiles::notePeak() {
    const std::uint64_t used = _manager->getSize() - _manager->getFreeSpace();
    std::uint64_t peak = _peakBytes.load( std::memory_order_relaxed );
    while( used > peak &&
           !_peakBytes.compare_exchange_weak( peak, used, std::memory_order_relaxed ) ) {}
}

} // namespace Qv::Comp
