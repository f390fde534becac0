#include <resmgt/dynamicAllocation/src/daArenaBlocks.h>

namespace Qv {

void DaArenaBlocks::reserve() {
    // The gap in front and the rest behind become blocks of their own.
    _pool.reserve( 2 );
    _live.reserve();
}

void DaArenaBlocks::insertFirst( std::uint64_t address, std::uint64_t size ) {
    _first = _pool.take();
    DaBlock& block = _pool[_first];
    block._address = address;
    block._size = size;
    block._previous = NO_BLOCK;
    block._next = NO_BLOCK;
    insertFree( _first );
}

DaBlockIndex DaArenaBlocks::cut( DaBlockIndex block, std::uint64_t address ) {
    const DaBlockIndex behind = _pool.take();
    DaBlock& front = _pool[block];
    DaBlock& rest = _pool[behind];
    rest._address = address;
    rest._size = front._address + front._size - address;
    rest._previous = block;
    rest._next = front._next;
    if( rest._next != NO_BLOCK ) {
        _pool[rest._next]._previous = behind;
    }
    front._size = address - front._address;
    front._next = behind;
    return behind;
}

void DaArenaBlocks::merge( DaBlockIndex block ) {
    DaBlock& front = _pool[block];
    const DaBlockIndex behind = front._next;
    front._size += _pool[behind]._size;
    front._next = _pool[behind]._next;
    if( front._next != NO_BLOCK ) {
        _pool[front._next]._previous = block;
    }
    _pool.giveBack( behind );
}

void DaArenaBlocks::insertFree( DaBlockIndex block ) {
    _pool[block]._isFree = true;
    _freeBySize.insert( block );
}

void DaArenaBlocks::eraseFree( DaBlockIndex block ) {
    _freeBySize.erase( block );
    _pool[block]._isFree = false;
}

} // namespace Qv
