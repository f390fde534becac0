#include <resmgt/dynamicAllocation/src/daBlocksBySize.h>

#include <bit>
#include <utility>

namespace Qv {

DaBlocksBySize::DaBlocksBySize( DaBlockPool& pool )
    : _pool( pool ) {
    _roots.fill( NO_BLOCK );
}

unsigned DaBlocksBySize::classOf( std::uint64_t size ) {
    if( size < 32 ) {
        return static_cast<unsigned>( size );
    }
    const auto shift = static_cast<unsigned>( std::bit_width( size ) ) - 6;
    return ( shift + 1 ) * 32 + ( static_cast<unsigned>( size >> shift ) & 31 );
}

void DaBlocksBySize::insert( DaBlockIndex block ) {
    DaBlock& inserted = _pool[block];
    const unsigned sizeClass = classOf( inserted._size );
    const DaBlockIndex head = find( sizeClass, inserted._size );
    inserted._isHead = head == NO_BLOCK;
    if( inserted._isHead ) {
        inserted._previousOfSize = block;
        inserted._nextOfSize = block;
        insertHead( block, sizeClass );
    } else {
        const DaBlockIndex tail = _pool[head]._previousOfSize;
        inserted._previousOfSize = tail;
        inserted._nextOfSize = head;
        _pool[tail]._nextOfSize = block;
        _pool[head]._previousOfSize = block;
    }
    ++_size;
}

DaBlockIndex DaBlocksBySize::find( unsigned sizeClass, std::uint64_t size ) const {
    DaBlockIndex node = _roots[sizeClass];
    while( node != NO_BLOCK && _pool[node]._size != size ) {
        node = size < _pool[node]._size ? _pool[node]._smaller : _pool[node]._larger;
    }
    return node;
}

void DaBlocksBySize::insertHead( DaBlockIndex block, unsigned sizeClass ) {
    const std::uint64_t size = _pool[block]._size;
    const std::uint32_t priority = _pool[block]._priority;
    DaBlockIndex* link = &_roots[sizeClass];
    DaBlockIndex parent = NO_BLOCK;
    while( *link != NO_BLOCK && _pool[*link]._priority >= priority ) {
        parent = *link;
        link = size < _pool[parent]._size ? &_pool[parent]._smaller : &_pool[parent]._larger;
    }
    const DaBlockIndex below = std::exchange( *link, block );
    _pool[block]._parent = parent;
    split( below, block );
    _usedClasses[sizeClass / 64] |= std::uint64_t( 1 ) << sizeClass % 64;
    _usedWords |= 1u << sizeClass / 64;
}

// Makes the blocks of `tree` the two subtrees of `block`.
void DaBlocksBySize::split( DaBlockIndex tree, DaBlockIndex block ) {
    const std::uint64_t size = _pool[block]._size;
    DaBlockIndex* smaller = &_pool[block]._smaller;
    DaBlockIndex* larger = &_pool[block]._larger;
    DaBlockIndex smallerParent = block;
    DaBlockIndex largerParent = block;
    while( tree != NO_BLOCK ) {
        DaBlock& node = _pool[tree];
        if( size < node._size ) {
            *larger = tree;
            node._parent = largerParent;
            largerParent = tree;
            larger = &node._smaller;
            tree = *larger;
        } else {
            *smaller = tree;
            node._parent = smallerParent;
            smallerParent = tree;
            smaller = &node._larger;
            tree = *smaller;
        }
    }
    *smaller = NO_BLOCK;
    *larger = NO_BLOCK;
}

// The field that holds `block`'s place in its tree.
DaBlockIndex& DaBlocksBySize::linkTo( DaBlockIndex block ) {
    const DaBlockIndex parent = _pool[block]._parent;
    if( parent == NO_BLOCK ) {
        return _roots[classOf( _pool[block]._size )];
    }
    DaBlock& node = _pool[parent];
    return node._smaller == block ? node._smaller : node._larger;
}

void DaBlocksBySize::erase( DaBlockIndex block ) {
    const DaBlockIndex previous = _pool[block]._previousOfSize;
    const DaBlockIndex next = _pool[block]._nextOfSize;
    _pool[previous]._nextOfSize = next;
    _pool[next]._previousOfSize = previous;
    if( _pool[block]._isHead ) {
        if( next != block ) {
            replaceHead( block, next );
        } else {
            eraseHead( block );
        }
    }
    --_size;
}

void DaBlocksBySize::replaceHead( DaBlockIndex former, DaBlockIndex block ) {
    linkTo( former ) = block;
    DaBlock& head = _pool[block];
    head._isHead = true;
    head._parent = _pool[former]._parent;
    head._smaller = _pool[former]._smaller;
    head._larger = _pool[former]._larger;
    // The place in the heap goes with the place in the tree.
    std::swap( head._priority, _pool[former]._priority );
    for( const DaBlockIndex child : { head._smaller, head._larger } ) {
        if( child != NO_BLOCK ) {
            _pool[child]._parent = block;
        }
    }
}

void DaBlocksBySize::eraseHead( DaBlockIndex block ) {
    DaBlockIndex* link = &linkTo( block );
    DaBlockIndex parent = _pool[block]._parent;
    DaBlockIndex smaller = _pool[block]._smaller;
    DaBlockIndex larger = _pool[block]._larger;
    // The two subtrees grow together in the block's place.
    while( smaller != NO_BLOCK && larger != NO_BLOCK ) {
        const bool isSmallerAbove = _pool[smaller]._priority > _pool[larger]._priority;
        DaBlockIndex& above = isSmallerAbove ? smaller : larger;
        *link = above;
        DaBlock& node = _pool[above];
        node._parent = parent;
        parent = above;
        link = isSmallerAbove ? &node._larger : &node._smaller;
        above = *link;
    }
    const DaBlockIndex rest = smaller != NO_BLOCK ? smaller : larger;
    *link = rest;
    if( rest != NO_BLOCK ) {
        _pool[rest]._parent = parent;
    } else if( parent == NO_BLOCK ) {
        const unsigned sizeClass = classOf( _pool[block]._size );
        std::uint64_t& word = _usedClasses[sizeClass / 64];
        word &= ~( std::uint64_t( 1 ) << sizeClass % 64 );
        if( word == 0 ) {
            _usedWords &= ~( 1u << sizeClass / 64 );
        }
    }
}

DaBlockIndex DaBlocksBySize::lowerBound( std::uint64_t size ) const {
    const unsigned sizeClass = classOf( size );
    DaBlockIndex found = NO_BLOCK;
    DaBlockIndex node = _roots[sizeClass];
    while( node != NO_BLOCK ) {
        if( _pool[node]._size >= size ) {
            found = node;
            node = _pool[node]._smaller;
        } else {
            node = _pool[node]._larger;
        }
    }
    return found != NO_BLOCK ? found : firstOfNextClass( sizeClass );
}

DaBlockIndex DaBlocksBySize::firstOfNextClass( unsigned sizeClass ) const {
    unsigned word = sizeClass / 64;
    // Two shifts: one by 64 has no defined result.
    std::uint64_t classes = _usedClasses[word] >> sizeClass % 64 >> 1 << 1 << sizeClass % 64;
    if( classes == 0 ) {
        const std::uint32_t words = _usedWords >> word >> 1 << 1 << word;
        if( words == 0 ) {
            return NO_BLOCK;
        }
        word = static_cast<unsigned>( std::countr_zero( words ) );
        classes = _usedClasses[word];
    }
    return firstIn( _roots[word * 64 + static_cast<unsigned>( std::countr_zero( classes ) )] );
}

DaBlockIndex DaBlocksBySize::firstIn( DaBlockIndex tree ) const {
    while( _pool[tree]._smaller != NO_BLOCK ) {
        tree = _pool[tree]._smaller;
    }
    return tree;
}

DaBlockIndex DaBlocksBySize::next( DaBlockIndex block ) const {
    DaBlockIndex node = _pool[block]._nextOfSize;
    if( !_pool[node]._isHead ) {
        return node;
    }
    if( _pool[node]._larger != NO_BLOCK ) {
        return firstIn( _pool[node]._larger );
    }
    DaBlockIndex parent = _pool[node]._parent;
    while( parent != NO_BLOCK && _pool[parent]._larger == node ) {
        node = parent;
        parent = _pool[node]._parent;
    }
    return parent != NO_BLOCK ? parent : firstOfNextClass( classOf( _pool[block]._size ) );
}

std::uint64_t DaBlocksBySize::largestSize() const {
    if( _usedWords == 0 ) {
        return 0;
    }
    const auto word = static_cast<unsigned>( std::bit_width( _usedWords ) ) - 1;
    const auto bit = static_cast<unsigned>( std::bit_width( _usedClasses[word] ) ) - 1;
    DaBlockIndex node = _roots[word * 64 + bit];
    while( _pool[node]._larger != NO_BLOCK ) {
        node = _pool[node]._larger;
    }
    return _pool[node]._size;
}

} // namespace Qv
