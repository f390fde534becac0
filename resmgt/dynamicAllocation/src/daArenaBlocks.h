#pragma once

#include <resmgt/dynamicAllocation/src/daBlocksByAddress.h>
#include <resmgt/dynamicAllocation/src/daBlocksBySize.h>

namespace Qv {

/// What a DaFirstFitArena knows of its blocks. The blocks of an arena follow each other without a
/// gap, so a block's neighbours in the chain of addresses are those that it may merge with, and no
/// search is needed for them.
class DaArenaBlocks {
public:
    DaArenaBlocks() = default;
    DaArenaBlocks( const DaArenaBlocks& ) = delete;
    DaArenaBlocks& operator=( const DaArenaBlocks& ) = delete;

    DaBlockPool _pool;
    DaBlocksBySize _freeBySize{ _pool };
    DaBlocksByAddress _live{ _pool };
    // The block at the arena's start; its record stays the same one. NO_BLOCK in an empty arena.
    DaBlockIndex _first = NO_BLOCK;

    /// Raises std::bad_alloc unless one `allocate` can do all that it needs.
    void reserve();
    /// Makes the one free block of a new arena. REQUIRES: reserved.
    void insertFirst( std::uint64_t address, std::uint64_t size );
    /// Cuts `block` at `address`, inside it, and returns the new block behind the cut. Neither is
    /// in an index afterwards. REQUIRES: reserved.
    DaBlockIndex cut( DaBlockIndex block, std::uint64_t address );
    /// Makes `block` and the one behind it one block, the former.
    void merge( DaBlockIndex block );
    void insertFree( DaBlockIndex block );
    void eraseFree( DaBlockIndex block );
    bool isFree( DaBlockIndex block ) const { return block != NO_BLOCK && _pool[block]._isFree; }
};

} // namespace Qv
