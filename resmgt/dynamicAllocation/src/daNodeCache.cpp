#include <resmgt/dynamicAllocation/src/daNodeCache.h>

#include <resmgt/dynamicAllocation/src/daDepot.h>
#include <resmgt/dynamicAllocation/src/daMemPool.imp>
#include <resmgt/dynamicAllocation/src/daMemPoolTraits.h>
#include <resmgt/dynamicAllocation/src/daThreadCaches.h>

#include <memory>

namespace Qv {

void DaNodeCache::push( LkSListNode* node ) noexcept {
    DaDepot& depot = *_depot.load( std::memory_order_acquire );
    DaThreadCache* const cache = DaThreadCaches::current.find( depot.getKey() );
    if( cache != nullptr && cache->_top != cache->_end ) [[likely]] {
        *cache->_top++ = node;
        return;
    }
    depot.pushSlowly( cache, node );
}

LkSListNode* DaNodeCache::pop() noexcept {
    DaDepot* const depot = _depot.load( std::memory_order_acquire );
    if( depot == nullptr ) [[unlikely]] {
        return nullptr;
    }
    DaThreadCache* const cache = DaThreadCaches::current.find( depot->getKey() );
    if( cache != nullptr && cache->_top != cache->_begin ) [[likely]] {
        return *--cache->_top;
    }
    return depot->popSlowly( cache );
}

LkSListNode* DaNodeCache::popAll() noexcept {
    delete _depot.exchange( nullptr, std::memory_order_acquire );
    return nullptr;
}

void DaNodeCache::reserve( std::size_t nbNodes, std::size_t nodeSize ) {
    getDepot( nodeSize ).reserve( nbNodes );
}

/// Several threads may make one; the first is taken.
DaDepot& DaNodeCache::getDepot( std::size_t nodeSize ) {
    DaDepot* installed = _depot.load( std::memory_order_acquire );
    if( installed == nullptr ) {
        auto own = std::make_unique<DaDepot>( nodeSize );
        if( _depot.compare_exchange_strong( installed, own.get(), std::memory_order_acq_rel,
                                            std::memory_order_acquire ) ) {
            installed = own.release();
        }
    }
    return *installed;
}

// Here, where the compiler sees the operations above.
template class QV_INSTANCE_API DaMemPool<DaMemPoolCachedTraits>;

} // namespace Qv
