#pragma once

#include <resmgt/dynamicAllocation/src/daBlock.h>

#include <array>
#include <cstddef>

namespace Qv {

/// The free blocks in order of size, equal sizes in order of insertion.
///
/// Blocks of one size are a ring, in order of insertion; its head stands for the size. A size falls
/// into a class: sizes below 64 are a class each, larger ones have 32 classes for each power of
/// two. A bit map finds the next class in use. The sizes of a class are a treap: a binary search
/// tree that is also a heap by pseudo-random priorities, and so has a depth logarithmic in the
/// number of its sizes. (Aragon and Seidel, Randomized Search Trees, 1989.) Most trees hold a few
/// sizes only. No operation needs memory.
class DaBlocksBySize {
public:
    explicit DaBlocksBySize( DaBlockPool& pool );

    /// The block goes behind all others of its size.
    void insert( DaBlockIndex block );
    /// REQUIRES: inserted, its size unchanged since then.
    void erase( DaBlockIndex block );

    /// The first block of at least `size`, or NO_BLOCK.
    DaBlockIndex lowerBound( std::uint64_t size ) const;
    /// The block behind `block` in the order, or NO_BLOCK.
    DaBlockIndex next( DaBlockIndex block ) const;
    /// 0 without a block.
    std::uint64_t largestSize() const;
    std::size_t size() const { return _size; }

private:
    static constexpr unsigned NB_CLASSES = 32 * 60;
    static constexpr unsigned NB_WORDS = NB_CLASSES / 64;

    static unsigned classOf( std::uint64_t size );
    DaBlockIndex firstOfNextClass( unsigned sizeClass ) const;
    DaBlockIndex firstIn( DaBlockIndex tree ) const;
    DaBlockIndex find( unsigned sizeClass, std::uint64_t size ) const;
    void insertHead( DaBlockIndex block, unsigned sizeClass );
    void split( DaBlockIndex tree, DaBlockIndex block );
    void replaceHead( DaBlockIndex former, DaBlockIndex block );
    void eraseHead( DaBlockIndex block );
    DaBlockIndex& linkTo( DaBlockIndex block );

    DaBlockPool& _pool;
    std::size_t _size = 0;
    // A bit each: the words that aren't 0, and the classes with blocks.
    std::uint32_t _usedWords = 0;
    std::array<std::uint64_t, NB_WORDS> _usedClasses{};
    std::array<DaBlockIndex, NB_CLASSES> _roots;
};

} // namespace Qv
