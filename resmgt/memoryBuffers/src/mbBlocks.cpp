#include <resmgt/memoryBuffers/src/mbBlocks.h>

#include <resmgt/memoryBuffers/src/mbPages.h>

#include <algorithm>
#include <iterator>
#include <new>
#include <utility>

namespace Qv {

namespace {

/// Blocks from here on are mapped: a page more or less is at most 6 % of them, and what the heap of
/// a thread would keep of smaller ones matters less.
constexpr std::size_t SMALLEST_MAPPED = 65536;

void* allocate( std::size_t size ) noexcept {
    // Room for the link of a kept block.
    return size < SMALLEST_MAPPED ? new( std::nothrow ) char[std::max( size, sizeof( void* ) )]
                                  : MbPages::map( size );
}

void release( void* block, std::size_t size ) noexcept {
    if( size < SMALLEST_MAPPED ) {
        delete[] static_cast<char*>( block );
    } else {
        MbPages::unmap( block, size );
    }
}

} // namespace

MbBlocks::~MbBlocks() {
    keepAtMost( 0 );
}

void* MbBlocks::take( std::size_t size, std::uint64_t room ) {
    const auto found = _kept.find( size );
    if( found != _kept.end() && found->second != nullptr ) {
        Kept*& kept = found->second;
        _keptBytes -= size;
        return std::exchange( kept, kept->next );
    }
    keepAtMost( room - size );
    void* const block = allocate( size );
    if( block != nullptr || _keptBytes == 0 ) {
        return block;
    }
    keepAtMost( 0 );
    return allocate( size );
}

void MbBlocks::giveBack( void* block, std::size_t size ) noexcept {
    try {
        Kept*& kept = _kept[size];
        kept = new( block ) Kept{ kept };
        _keptBytes += size;
    } catch( const std::bad_alloc& ) {
        release( block, size );
    }
}

void MbBlocks::keepAtMost( std::uint64_t bound ) noexcept {
    while( _keptBytes > bound ) {
        const auto largest = std::prev( _kept.end() );
        const std::size_t size = largest->first;
        Kept*& kept = largest->second;
        if( kept != nullptr ) {
            _keptBytes -= size;
            release( std::exchange( kept, kept->next ), size );
        }
        if( kept == nullptr ) {
            _kept.erase( largest );
        }
    }
}

} // namespace Qv
