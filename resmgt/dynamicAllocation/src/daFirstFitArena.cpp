#include <resmgt/dynamicAllocation/daFirstFitArena.h>

#include <base/failure/assertions.h>
#include <resmgt/dynamicAllocation/src/daArenaBlocks.h>

#include <algorithm>
#include <ostream>

namespace Qv {

namespace {

// All blocks have a multiple of this size, in bytes.
constexpr std::uint64_t GRANULARITY = 8;
constexpr std::uint64_t LARGEST_VALUE = std::numeric_limits<std::uint64_t>::max();

std::uint64_t toAddress( const void* memory ) {
    return reinterpret_cast<std::uintptr_t>( memory );
}

void* toMemory( std::uint64_t address ) {
    return reinterpret_cast<void*>( static_cast<std::uintptr_t>( address ) );
}

// Whether `block` holds `size` bytes at `alignment`, and if so where.
bool fits( const DaBlock& block, std::uint64_t size, std::uint64_t alignment,
           std::uint64_t& address ) {
    address =
        alignment == 0 ? block._address : DaFirstFitArena::roundUp( block._address, alignment );
    // Right also where the address wraps: the gap is the one to the end of the address space then,
    // and no block reaches that far.
    const std::uint64_t gap = address - block._address;
    return gap <= block._size && size <= block._size - gap;
}

} // namespace

DaFirstFitArena::DaFirstFitArena( void* base, std::size_t size, const char* name )
    : _name( name != nullptr ? name : "<Unnamed arena>" )
    , _base( base )
    , _poolSize( size - size % GRANULARITY )
    , _poolFreeSpace( size )
    , _blocks( new DaArenaBlocks ) {
    QV_ASSERT( size <= LARGEST_VALUE - toAddress( base ) );
    _blocks->reserve();
    if( size != 0 ) {
        _blocks->insertFirst( toAddress( base ), size );
    }
}

DaFirstFitArena::~DaFirstFitArena() = default;

std::uint64_t DaFirstFitArena::roundUp( std::uint64_t value, std::uint64_t alignment ) {
    QV_ASSERT( alignment != 0 );
    return ( value + alignment - 1 ) & ( ~alignment + 1 );
}

void* DaFirstFitArena::allocate( std::size_t size, std::size_t alignment ) {
    if( size > LARGEST_VALUE - ( GRANULARITY - 1 ) ) {
        return nullptr;
    }
    // A request for nothing is one for a block of its own, too.
    const std::uint64_t rounded = std::max( roundUp( size, GRANULARITY ), GRANULARITY );
    DaBlockIndex block = _blocks->_freeBySize.lowerBound( rounded );
    std::uint64_t address = 0;
    while( block != NO_BLOCK && !fits( _blocks->_pool[block], rounded, alignment, address ) ) {
        block = _blocks->_freeBySize.next( block );
    }
    return block != NO_BLOCK ? carve( block, address, rounded ) : nullptr;
}

void* DaFirstFitArena::carve( std::uint32_t block, std::uint64_t address, std::uint64_t size ) {
    DaArenaBlocks& blocks = *_blocks;
    blocks.reserve();
    blocks.eraseFree( block );
    DaBlockIndex taken = block;
    if( address != blocks._pool[block]._address ) {
        taken = blocks.cut( block, address );
        blocks._pool[taken]._isFree = false;
        blocks.insertFree( block );
    }
    if( blocks._pool[taken]._size > size ) {
        blocks.insertFree( blocks.cut( taken, address + size ) );
    }
    blocks._live.insert( taken );
    _poolFreeSpace -= size;
    return toMemory( address );
}

bool DaFirstFitArena::free( void* block ) {
    // A pool asks each of its arenas: most of them needn't look further.
    if( toAddress( block ) - toAddress( _base ) >= _poolSize ) {
        return false;
    }
    DaArenaBlocks& blocks = *_blocks;
    DaBlockIndex freed = blocks._live.remove( toAddress( block ) );
    if( freed == NO_BLOCK ) {
        return false;
    }
    _poolFreeSpace += blocks._pool[freed]._size;
    const DaBlockIndex previous = blocks._pool[freed]._previous;
    if( blocks.isFree( previous ) ) {
        blocks.eraseFree( previous );
        blocks.merge( previous );
        freed = previous;
    }
    const DaBlockIndex next = blocks._pool[freed]._next;
    if( blocks.isFree( next ) ) {
        blocks.eraseFree( next );
        blocks.merge( freed );
    }
    blocks.insertFree( freed );
    return true;
}

DaFirstFitArena::Statistics DaFirstFitArena::getStatistics() const {
    Statistics result;
    result._alignment = GRANULARITY;
    result._size = _poolSize;
    std::uint64_t allocBytes = 0;
    std::uint64_t freeBytes = 0;
    std::uint64_t maxFreeBlk = 0;
    const DaBlocksBySize& freeBlocksBySize = _blocks->_freeBySize;
    DaBlockIndex index = _blocks->_first;
    while( index != NO_BLOCK ) {
        const DaBlock& block = _blocks->_pool[index];
        if( block._isFree ) {
            freeBytes += block._size;
            ++result._nbFreeBlocks;
            result._smallestFreeBlock = std::min( result._smallestFreeBlock, block._size );
            maxFreeBlk = std::max( maxFreeBlk, block._size );
        } else {
            allocBytes += block._size;
        }
        index = block._next;
    }
    QV_ASSERT_TEXT( result._nbFreeBlocks == freeBlocksBySize.size(),
                    "_freeBlockMap.size() == _freeBlocksBySize.size()" );
    QV_ASSERT_TEXT( maxFreeBlk == freeBlocksBySize.largestSize(),
                    "maxFreeBlk == _freeBlocksBySize.rbegin()->first" );
    QV_ASSERT( _poolFreeSpace == freeBytes );
    QV_ASSERT( allocBytes + freeBytes == _poolSize );
    result._allocBytes = allocBytes;
    result._freeBytes = freeBytes;
    result._nbAllocBlocks = _blocks->_live.size();
    result._largestFreeBlock = maxFreeBlk;
    return result;
}

void DaFirstFitArena::dump( std::ostream& stream ) const {
    stream << "DaFirstFitArena: " << _name << "\n  free block map:\n";
    DaBlockIndex index = _blocks->_first;
    while( index != NO_BLOCK ) {
        const DaBlock& block = _blocks->_pool[index];
        if( block._isFree ) {
            stream << "    " << toMemory( block._address ) << "  " << block._size << '\n';
        }
        index = block._next;
    }
    getStatistics().dump( stream );
}

DaFirstFitArena::Statistics& DaFirstFitArena::Statistics::operator+=( const Statistics& rhs ) {
    if( _alignment == 0 ) {
        _alignment = rhs._alignment;
    }
    QV_ASSERT( _alignment != 0 );
    QV_ASSERT( _alignment == rhs._alignment );
    _size += rhs._size;
    _allocBytes += rhs._allocBytes;
    _freeBytes += rhs._freeBytes;
    _nbAllocBlocks += rhs._nbAllocBlocks;
    _nbFreeBlocks += rhs._nbFreeBlocks;
    _smallestFreeBlock = std::min( _smallestFreeBlock, rhs._smallestFreeBlock );
    _largestFreeBlock = std::max( _largestFreeBlock, rhs._largestFreeBlock );
    return *this;
}

void DaFirstFitArena::Statistics::dump( std::ostream& stream ) const {
    const auto percent = [this]( std::uint64_t bytes ) {
        return _size == 0 ? 0. : 100. * static_cast<double>( bytes ) / static_cast<double>( _size );
    };
    stream << "  alignment         : " << _alignment << " bytes\n"
           << "  size              : " << _size << " bytes\n"
           << "  alloc bytes       : " << _allocBytes << " bytes (" << percent( _allocBytes )
           << "%)\n"
           << "  free  bytes       : " << _freeBytes << " bytes (" << percent( _freeBytes )
           << "%)\n"
           << "  nb alloc blks     : " << _nbAllocBlocks << '\n'
           << "  nb free  blks     : " << _nbFreeBlocks << '\n'
           << "  smallest free blk : " << _smallestFreeBlock << '\n'
           << "  largest free blk  : " << _largestFreeBlock << '\n';
}

} // namespace Qv
