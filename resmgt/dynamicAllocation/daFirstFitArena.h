#pragma once

#include <base/ownership/oPtr.h>
#include <resmgt/resmgtApi.h>

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <limits>

namespace Qv {

class DaArenaBlocks;

/// Manages one contiguous stretch of memory, which it neither owns nor ever reads or writes.
///
/// Choice:  among the free blocks that hold the request at its alignment, the smallest; of equal
///          ones the one that became free, or got its size, first. What is left over in front and
///          behind stays free. Adjacent free space is always one block.
/// Sizes:   in bytes; every block has a multiple of 8, at least 8. A request that can't be
///          represented when rounded up is one that can't be served.
/// Errors:  a request that can't be served gives null. `std::bad_alloc` when the book-keeping lacks
///          memory; the arena is then as before. `free` needs no memory.
/// Threads: none inside; the owner locks.
/// Cost:    a search is logarithmic in the number of free blocks, and one step more for each block
///          that is large enough but can't meet the alignment. `free` is logarithmic.
///          Book-keeping is 64 bytes a block, live or free.
class QV_RESMGT_API DaFirstFitArena {
public:
    class Statistics;

    /// `base` isn't null, and `size` bytes from it don't pass the end of the address space. `name`
    /// is kept, not copied; null stands for "<Unnamed arena>".
    DaFirstFitArena( void* base, std::size_t size, const char* name );
    DaFirstFitArena( const DaFirstFitArena& ) = delete;
    DaFirstFitArena& operator=( const DaFirstFitArena& ) = delete;
    ~DaFirstFitArena();

    /// `alignment` is a power of two, or 0 for none.
    void* allocate( std::size_t size, std::size_t alignment );
    /// False, and nothing changes, when `block` is no live block of this arena.
    bool free( void* block );

    const char* getName() const noexcept { return _name; }
    std::uint64_t getFreeBytes() const noexcept { return _poolFreeSpace; }
    /// Walks all blocks and asserts the invariants. They don't hold for an arena whose size is no
    /// multiple of 8: the odd bytes are managed, but not counted.
    Statistics getStatistics() const;
    /// Writes the free blocks in order of address, and the statistics.
    void dump( std::ostream& stream ) const;

    /// The next multiple of `alignment`, a power of two, at or after `value`. Asserts
    /// "alignment != 0". Wraps beyond the largest value.
    static std::uint64_t roundUp( std::uint64_t value, std::uint64_t alignment );

private:
    void* carve( std::uint32_t block, std::uint64_t address, std::uint64_t size );

    const char* const _name;
    void* const _base;
    const std::uint64_t _poolSize;
    std::uint64_t _poolFreeSpace;
    const OPtr<DaArenaBlocks> _blocks;
};

/// What an arena, or the sum of several, looks like. Bytes and counts.
class QV_RESMGT_API DaFirstFitArena::Statistics {
public:
    /// Of no arena at all; the alignment is 0 until one is added.
    Statistics() = default;

    /// Adds the counters; smallest and largest are those of both. Asserts that both have the same
    /// alignment, unless this one has none yet.
    Statistics& operator+=( const Statistics& rhs );

    std::uint64_t getAlignment() const noexcept { return _alignment; }
    std::uint64_t getSize() const noexcept { return _size; }
    std::uint64_t getAllocBytes() const noexcept { return _allocBytes; }
    std::uint64_t getFreeBytes() const noexcept { return _freeBytes; }
    std::uint64_t getNbAllocBlocks() const noexcept { return _nbAllocBlocks; }
    std::uint64_t getNbFreeBlocks() const noexcept { return _nbFreeBlocks; }
    /// All ones without a free block.
    std::uint64_t getSmallestFreeBlock() const noexcept { return _smallestFreeBlock; }
    /// 0 without a free block.
    std::uint64_t getLargestFreeBlock() const noexcept { return _largestFreeBlock; }

    /// One line a value.
    void dump( std::ostream& stream ) const;

private:
    friend class DaFirstFitArena;

    std::uint64_t _alignment = 0;
    std::uint64_t _size = 0;
    std::uint64_t _allocBytes = 0;
    std::uint64_t _freeBytes = 0;
    std::uint64_t _nbAllocBlocks = 0;
    std::uint64_t _nbFreeBlocks = 0;
    std::uint64_t _smallestFreeBlock = std::numeric_limits<std::uint64_t>::max();
    std::uint64_t _largestFreeBlock = 0;
};

} // namespace Qv
