#pragma once

#include <cstdint>
#include <vector>

namespace Qv {

/// Number of a block in its DaBlockPool.
using DaBlockIndex = std::uint32_t;

/// Stands for no block.
inline constexpr DaBlockIndex NO_BLOCK = UINT32_MAX;

/// One stretch of an arena's memory. One cache line: each step of an operation costs one.
struct alignas( 64 ) DaBlock {
    std::uint64_t _address;
    std::uint64_t _size;

    // Neighbours in order of address; of an unused block, `_next` is the next unused one.
    DaBlockIndex _previous;
    DaBlockIndex _next;

    // Free blocks: DaBlocksBySize's ring of equal sizes, and of its head the place in the tree.
    DaBlockIndex _previousOfSize;
    DaBlockIndex _nextOfSize;
    DaBlockIndex _parent;
    DaBlockIndex _smaller;
    DaBlockIndex _larger;
    std::uint32_t _priority;
    bool _isHead;

    // Live blocks: the bucket's next in DaBlocksByAddress.
    DaBlockIndex _nextInBucket;
    bool _isFree;
};

/// The records of all blocks of an arena. Indices stay valid, references until the next `reserve`.
class DaBlockPool {
public:
    DaBlock& operator[]( DaBlockIndex index ) { return _blocks[index]; }
    const DaBlock& operator[]( DaBlockIndex index ) const { return _blocks[index]; }

    /// Makes the next `nbBlocks` calls of `take` succeed; raises std::bad_alloc without memory.
    void reserve( std::uint32_t nbBlocks );
    /// REQUIRES: reserved.
    DaBlockIndex take();
    void giveBack( DaBlockIndex index );

private:
    std::vector<DaBlock> _blocks;
    DaBlockIndex _firstUnused = NO_BLOCK;
    std::uint32_t _nbUnused = 0;
};

} // namespace Qv
