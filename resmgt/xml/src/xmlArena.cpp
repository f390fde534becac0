#include <resmgt/xml/src/xmlArena.h>

#include <resmgt/xml/src/xmlCopy.h>
#include <resmgt/xml/src/xmlLargePages.h>

#include <algorithm>
#include <atomic>
#include <new>
#include <utility>

namespace Qv {

namespace {

constexpr std::size_t FIRST_BLOCK = 1 << 12;
constexpr std::size_t LARGEST_BLOCK = XmlLargePages::SIZE;
/// What an element brings along usually fits behind it.
constexpr std::size_t ROOM_BEHIND = 1 << 9;
/// What a block is counted for while elements are made in it: more than there can be.
constexpr int OPEN = 1 << 30;

void* takeMemory( std::size_t size ) {
    if( size != LARGEST_BLOCK ) {
        return ::operator new( size );
    }
    void* const memory = ::operator new( size, std::align_val_t( size ) );
    XmlLargePages::ask( memory );
    return memory;
}

void giveBack( void* memory, std::size_t size ) noexcept {
    if( size != LARGEST_BLOCK ) {
        ::operator delete( memory );
    } else {
        ::operator delete( memory, std::align_val_t( size ) );
    }
}

} // namespace

struct alignas( void* ) XmlArena::Block {
    explicit Block( std::size_t itsSize )
        : size( itsSize ) {}

    const std::size_t size;
    /// Changed by all; who takes the last ones off sees what the others did before.
    std::atomic<int> nbElements{ OPEN };
};

/// Before each element: where its memory is from, null for the heap.
struct XmlArena::Prefix {
    Block* block;
};

void* XmlArena::allocate( std::size_t size ) {
    const std::size_t whole = sizeof( Prefix ) + size;
    // What is read behind appended bytes isn't the next element, which another thread may change.
    const std::size_t slack = _hasAppended ? XmlCopy::SLACK : 0;
    constexpr std::size_t UNIT = alignof( Prefix );
    const std::size_t place = reinterpret_cast<std::size_t>( _next ) + slack;
    const std::size_t gap = slack + ( UNIT - place % UNIT ) % UNIT;
    if( static_cast<std::size_t>( _end - _next ) < gap + whole + ROOM_BEHIND ) {
        begin( whole + ROOM_BEHIND );
    } else {
        _next += gap;
    }
    char* const memory = _next;
    _next += whole;
    ++_nbMade;
    _hasAppended = false;
    return _newest = ::new( memory ) Prefix{ _block } + 1;
}

void* XmlArena::allocateAlone( std::size_t size ) {
    return ::new( ::operator new( sizeof( Prefix ) + size ) ) Prefix{ nullptr } + 1;
}

void XmlArena::release( void* element ) noexcept {
    Block* const block = getBlock( element );
    if( block == nullptr ) {
        ::operator delete( static_cast<Prefix*>( element ) - 1 );
    } else {
        drop( block, 1 );
    }
}

/// A small document takes a small block.
void XmlArena::begin( std::size_t size ) {
    const std::size_t blockSize =
        std::max( sizeof( Block ) + size + XmlCopy::SLACK,
                  _blockSize == 0 ? FIRST_BLOCK : std::min( 2 * _blockSize, LARGEST_BLOCK ) );
    char* const memory = static_cast<char*>( takeMemory( blockSize ) );
    retire();
    _block = ::new( memory ) Block( blockSize );
    _next = memory + sizeof( Block );
    _end = memory + blockSize - XmlCopy::SLACK;
    _blockSize = blockSize;
}

void XmlArena::retire() noexcept {
    if( _block != nullptr ) {
        drop( _block, OPEN - _nbMade );
    }
    _nbMade = 0;
}

XmlArena::Block* XmlArena::getBlock( void* element ) noexcept {
    return ( static_cast<Prefix*>( element ) - 1 )->block;
}

void XmlArena::drop( Block* block, int count ) noexcept {
    if( block->nbElements.fetch_sub( count, std::memory_order_acq_rel ) == count ) {
        giveBack( block, block->size );
    }
}

void XmlArena::Releases::add( void* element ) noexcept {
    Block* const block = getBlock( element );
    if( block == nullptr ) {
        release( element );
        return;
    }
    if( block != _block ) {
        finish();
        _block = block;
    }
    ++_count;
}

void XmlArena::Releases::finish() noexcept {
    if( _block != nullptr ) {
        drop( _block, std::exchange( _count, 0 ) );
    }
}

} // namespace Qv
