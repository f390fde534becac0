#include <resmgt/dynamicAllocation/src/daNodeCache.h>

#include <memory>

namespace Qv {

LkSListNode* DaNodeCache::pop() noexcept {
    LkSListNode* const own = popOwn();
    DaDepot* const depot = _depot.load( std::memory_order_acquire );
    return own != nullptr || depot == nullptr
               ? own
               : depot->popSlowly( DaThreadCaches::current.find( depot->getKey() ) );
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

} // namespace Qv
