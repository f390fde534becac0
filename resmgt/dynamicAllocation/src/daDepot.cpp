#include <resmgt/dynamicAllocation/src/daDepot.h>

#include <base/locks/lkGuard.h>
#include <resmgt/dynamicAllocation/src/daDepotRegistry.h>
#include <resmgt/dynamicAllocation/src/daThreadCaches.h>

#include <algorithm>
#include <new>
#include <utility>

namespace Qv {

namespace {

constexpr std::size_t MAX_NODES = 64;
constexpr std::size_t MAX_BYTES = 16 * 1024;

} // namespace

DaDepot::DaDepot( std::size_t nodeSize )
    : _capacity( std::clamp<std::size_t>( MAX_BYTES / nodeSize, 1, MAX_NODES ) )
    , _key( DaDepotRegistry::getInstance().add( *this ) ) {}

DaDepot::~DaDepot() {
    DaDepotRegistry::getInstance().remove( *this );
}

void DaDepot::reserve( std::size_t nbNodes ) {
    const LkGuard<const LkLock> guard( _lock );
    _nbNodes += nbNodes;
    try {
        makeMagazines();
    } catch( const std::bad_alloc& ) {
        _nbNodes -= nbNodes;
        throw;
    }
}

LkSListNode* DaDepot::popSlowly( DaThreadCache* cache ) noexcept {
    if( cache == nullptr ) {
        cache = makeCache();
    }
    if( cache == nullptr ) {
        return popShared();
    }
    return refill( *cache ) ? *--cache->_top : nullptr;
}

void DaDepot::pushSlowly( DaThreadCache* cache, LkSListNode* node ) noexcept {
    if( cache == nullptr ) {
        cache = makeCache();
    }
    if( cache != nullptr && makeSpace( *cache ) ) {
        *cache->_top++ = node;
    } else {
        _singles.push( node );
    }
}

void DaDepot::takeBack( const DaThreadCache& cache ) noexcept {
    takeApart( cache._loaded, static_cast<std::size_t>( cache._top - cache._begin ) );
    ( cache._isSpareFull ? _full : _empty ).put( cache._spare );
    removeThread();
}

/// Null at the thread's end and when there is no memory: then the thread works on what is shared.
DaThreadCache* DaDepot::makeCache() noexcept {
    if( DaThreadCaches::current._isEnded ) {
        return nullptr;
    }
    DaThreadCache* cache = nullptr;
    try {
        cache = &DaThreadCaches::current.makeRoom( _key );
        addThread();
    } catch( const std::bad_alloc& ) {
        return nullptr;
    }
    DaMagazine* const loaded = _empty.take();
    DaMagazine* const spare = loaded != nullptr ? _empty.take() : nullptr;
    if( spare == nullptr ) {
        // Others hold three for the moment.
        if( loaded != nullptr ) {
            _empty.put( loaded );
        }
        removeThread();
        return nullptr;
    }
    *cache = DaThreadCache{ ._key = _key, ._spare = spare };
    load( *cache, loaded, false );
    return cache;
}

void DaDepot::addThread() {
    const LkGuard<const LkLock> guard( _lock );
    ++_nbThreads;
    try {
        makeMagazines();
    } catch( const std::bad_alloc& ) {
        --_nbThreads;
        throw;
    }
}

void DaDepot::removeThread() noexcept {
    const LkGuard<const LkLock> guard( _lock );
    --_nbThreads;
}

void DaDepot::makeMagazines() {
    const std::size_t wanted = ( _nbNodes + _capacity - 1 ) / _capacity + 2 * _nbThreads;
    _full.reserve( wanted );
    _empty.reserve( wanted );
    while( _magazines.size() < wanted ) {
        _magazines.push_back( std::make_unique<DaMagazine>( _capacity ) );
        _empty.put( _magazines.back().get() );
    }
}

void DaDepot::load( DaThreadCache& cache, DaMagazine* magazine, bool isFull ) noexcept {
    cache._loaded = magazine;
    cache._begin = magazine->getNodes();
    cache._end = cache._begin + _capacity;
    cache._top = isFull ? cache._end : cache._begin;
}

/// REQUIRES: the magazine at work is empty. False if there is no node.
bool DaDepot::refill( DaThreadCache& cache ) noexcept {
    if( std::exchange( cache._isSpareFull, false ) ) {
        load( cache, std::exchange( cache._spare, cache._loaded ), true );
        return true;
    }
    if( DaMagazine* const full = _full.take() ) {
        _empty.put( cache._loaded );
        load( cache, full, true );
        return true;
    }
    for( LkSListNode* node = takeSingles(); node != nullptr; ) {
        LkSListNode* const next = node->_next.load( std::memory_order_relaxed );
        if( cache._top != cache._end ) {
            *cache._top++ = node;
        } else {
            pushSlowly( &cache, node );
        }
        node = next;
    }
    return cache._top != cache._begin;
}

/// REQUIRES: the magazine at work is full. False if there is no empty one.
bool DaDepot::makeSpace( DaThreadCache& cache ) noexcept {
    if( cache._top != cache._end ) {
        return true;
    }
    DaMagazine* empty = cache._spare;
    if( cache._isSpareFull ) {
        empty = _empty.take();
        if( empty == nullptr ) {
            return false;
        }
        _full.put( cache._spare );
    }
    cache._spare = cache._loaded;
    cache._isSpareFull = true;
    load( cache, empty, false );
    return true;
}

/// For a thread without a cache: a magazine is taken apart for the sake of one node.
LkSListNode* DaDepot::popShared() noexcept {
    LkSListNode* node = takeSingles();
    if( node == nullptr ) {
        if( DaMagazine* const full = _full.take() ) {
            LkSListNode* const own = full->getNodes()[_capacity - 1];
            takeApart( full, _capacity - 1 );
            return own;
        }
        return nullptr;
    }
    for( LkSListNode* rest = node->_next.load( std::memory_order_relaxed ); rest != nullptr; ) {
        LkSListNode* const next = rest->_next.load( std::memory_order_relaxed );
        _singles.push( rest );
        rest = next;
    }
    return node;
}

LkSListNode* DaDepot::takeSingles() noexcept {
    LkSList::Head head = _singles.getHead();
    while( LkSList::getFirst( head ) != nullptr && !_singles.tryPopAll( head ) ) {
        lkPause();
    }
    return LkSList::getFirst( head );
}

/// A full magazine stays one.
void DaDepot::takeApart( DaMagazine* magazine, std::size_t nbNodes ) noexcept {
    if( nbNodes == _capacity ) {
        _full.put( magazine );
        return;
    }
    for( std::size_t i = 0; i < nbNodes; ++i ) {
        _singles.push( magazine->getNodes()[i] );
    }
    _empty.put( magazine );
}

} // namespace Qv
