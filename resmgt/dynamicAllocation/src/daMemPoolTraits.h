#pragma once

#include <resmgt/dynamicAllocation/daMemPool.h>
#include <resmgt/dynamicAllocation/src/daNodeCache.h>
#include <resmgt/dynamicAllocation/src/daPlainSList.h>
#include <resmgt/locks/lkSList.h>

#include <atomic>

namespace Qv {

/// What a form of DaMemPool is made of: `Nodes` holds a class's free nodes, `Chunks` its chunks,
/// both with the operations of LkSListOf; `add` and `get` are for the counters. `popQuickly` is a
/// pop that may find no node where there are some. `reserve` comes before each chunk, and makes
/// room for keeping that many more nodes; it may raise.
template <class NodeList, class ChunkList = NodeList>
class DaConcurrentTraits {
public:
    using Nodes = NodeList;
    using Chunks = ChunkList;

    // Relaxed: the counters order nothing.
    static std::uint32_t add( std::uint32_t& counter, std::uint32_t value ) noexcept {
        return std::atomic_ref( counter ).fetch_add( value, std::memory_order_relaxed ) + value;
    }
    static std::uint32_t get( std::uint32_t& counter ) noexcept {
        return std::atomic_ref( counter ).load( std::memory_order_relaxed );
    }
    static LkSListNode* popQuickly( Nodes& nodes ) noexcept { return nodes.pop(); }
    static void reserve( Nodes&, std::size_t, std::size_t ) noexcept {}
};

class DaMemPoolTraits : public DaConcurrentTraits<LkSList> {};

class DaMemPoolTaggedTraits
    : public DaConcurrentTraits<LkSListOf<std::atomic<std::uint64_t>, LkSListPush::KEEPS_TAG>> {};

class DaMemPoolCachedTraits : public DaConcurrentTraits<DaNodeCache, LkSList> {
public:
    static LkSListNode* popQuickly( Nodes& nodes ) noexcept { return nodes.popOwn(); }
    static void reserve( Nodes& nodes, std::size_t nbNodes, std::size_t nodeSize ) {
        nodes.reserve( nbNodes, nodeSize );
    }
};

class DaMemPoolSThreadTraits {
public:
    using Nodes = DaPlainSList;
    using Chunks = DaPlainSList;

    static std::uint32_t add( std::uint32_t& counter, std::uint32_t value ) noexcept {
        return counter += value;
    }
    static std::uint32_t get( const std::uint32_t& counter ) noexcept { return counter; }
    static LkSListNode* popQuickly( Nodes& nodes ) noexcept { return nodes.pop(); }
    static void reserve( Nodes&, std::size_t, std::size_t ) noexcept {}
};

} // namespace Qv
