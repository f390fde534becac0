#include <resmgt/dynamicAllocation/src/daBlock.h>

#include <algorithm>
#include <new>

namespace Qv {

namespace {

constexpr std::uint32_t SMALLEST_GROWTH = 64;

// Random enough for a balanced tree, and the same in every run. The finaliser of MurmurHash3, by
// Austin Appleby, public domain.
std::uint32_t scatter( std::uint32_t value ) {
    value ^= value >> 16;
    value *= 0x85ebca6bu;
    value ^= value >> 13;
    value *= 0xc2b2ae35u;
    value ^= value >> 16;
    return value;
}

} // namespace

void DaBlockPool::reserve( std::uint32_t nbBlocks ) {
    if( _nbUnused >= nbBlocks ) {
        return;
    }
    const auto before = static_cast<std::uint32_t>( _blocks.size() );
    const std::uint32_t growth = std::max( { before, nbBlocks, SMALLEST_GROWTH } );
    if( growth > NO_BLOCK - before ) {
        throw std::bad_alloc();
    }
    _blocks.resize( before + growth );
    for( std::uint32_t i = before + growth; i > before; --i ) {
        _blocks[i - 1]._priority = scatter( i - 1 );
        giveBack( i - 1 );
    }
}

DaBlockIndex DaBlockPool::take() {
    const DaBlockIndex index = _firstUnused;
    _firstUnused = _blocks[index]._next;
    --_nbUnused;
    return index;
}

void DaBlockPool::giveBack( DaBlockIndex index ) {
    _blocks[index]._next = _firstUnused;
    _firstUnused = index;
    ++_nbUnused;
}

} // namespace Qv
