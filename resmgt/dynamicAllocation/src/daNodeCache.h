#pragma once

#include <resmgt/dynamicAllocation/src/daDepot.h>
#include <resmgt/dynamicAllocation/src/daThreadCaches.h>
#include <resmgt/locks/lkSList.h>

#include <atomic>
#include <cstddef>

namespace Qv {

/// The free nodes of one size class of a cached pool: two magazines a thread before a DaDepot. Has
/// the operations of an LkSListOf.
///
/// Threads: any, but for popAll.
/// Safety:  a node is always in exactly one place. In a magazine of a thread, which nobody else
///          touches; in a magazine of the depot, which whoever takes it out of its slot has alone;
///          or on the depot's stack of single nodes, of which all are removed at once. No removal
///          follows a link that somebody else may have changed meanwhile.
class DaNodeCache {
public:
    /// REQUIRES: `reserve` has counted the node.
    void push( LkSListNode* node ) noexcept;
    /// Null when neither the thread nor the depot has one. Other threads may.
    LkSListNode* pop() noexcept;
    /// One of the magazine that the thread works on. Null if it has none, or none is in it.
    LkSListNode* popOwn() const noexcept;
    /// Gives all nodes up, also those of threads; they aren't returned. Excludes all but a thread's
    /// end.
    LkSListNode* popAll() noexcept;
    /// Before `nbNodes` nodes are pushed for the first time. Raises `std::bad_alloc`, and is as
    /// before then.
    void reserve( std::size_t nbNodes, std::size_t nodeSize );

private:
    DaDepot& getDepot( std::size_t nodeSize );

    // Null up to the first chunk. Release publishes the depot.
    std::atomic<DaDepot*> _depot{ nullptr };
};

inline void DaNodeCache::push( LkSListNode* node ) noexcept {
    DaDepot& depot = *_depot.load( std::memory_order_acquire );
    DaThreadCache* const cache = DaThreadCaches::current.find( depot.getKey() );
    if( cache != nullptr && cache->_top != cache->_end ) [[likely]] {
        *cache->_top++ = node;
        return;
    }
    depot.pushSlowly( cache, node );
}

inline LkSListNode* DaNodeCache::popOwn() const noexcept {
    const DaDepot* const depot = _depot.load( std::memory_order_acquire );
    if( depot == nullptr ) [[unlikely]] {
        return nullptr;
    }
    DaThreadCache* const cache = DaThreadCaches::current.find( depot->getKey() );
    if( cache == nullptr || cache->_top == cache->_begin ) [[unlikely]] {
        return nullptr;
    }
    return *--cache->_top;
}

} // namespace Qv
