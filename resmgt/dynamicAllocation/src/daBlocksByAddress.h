#pragma once

#include <resmgt/dynamicAllocation/src/daBlock.h>

#include <cstddef>
#include <vector>

namespace Qv {

/// The live blocks, by address: a hash table whose chains run through the blocks themselves.
class DaBlocksByAddress {
public:
    explicit DaBlocksByAddress( DaBlockPool& pool );

    /// Makes the next `insert` succeed; raises std::bad_alloc without memory.
    void reserve();
    /// REQUIRES: reserved; no live block has this address.
    void insert( DaBlockIndex block );
    /// Takes the live block at `address` out, and returns it; NO_BLOCK when there is none.
    DaBlockIndex remove( std::uint64_t address );
    std::size_t size() const { return _size; }

private:
    DaBlockIndex& bucketOf( std::uint64_t address );
    void link( DaBlockIndex block );

    DaBlockPool& _pool;
    std::size_t _size = 0;
    // A power of two of them, and at most one block for each on average.
    std::vector<DaBlockIndex> _buckets;
};

} // namespace Qv
