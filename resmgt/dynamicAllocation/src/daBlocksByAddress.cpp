#include <resmgt/dynamicAllocation/src/daBlocksByAddress.h>

#include <bit>
#include <utility>

namespace Qv {

namespace {

constexpr std::size_t FIRST_NB_BUCKETS = 64;

} // namespace

DaBlocksByAddress::DaBlocksByAddress( DaBlockPool& pool )
    : _pool( pool )
    , _buckets( FIRST_NB_BUCKETS, NO_BLOCK ) {}

// Multiplicative hashing with the golden ratio (Knuth, The Art of Computer Programming 3, 6.4): the
// top bits depend on all bits of an address, however coarsely blocks are aligned.
DaBlockIndex& DaBlocksByAddress::bucketOf( std::uint64_t address ) {
    const int nbBits = std::countr_zero( _buckets.size() );
    return _buckets[address * 0x9e3779b97f4a7c15u >> ( 64 - nbBits )];
}

void DaBlocksByAddress::reserve() {
    if( _size < _buckets.size() ) {
        return;
    }
    std::vector<DaBlockIndex> former( _buckets.size() * 2, NO_BLOCK );
    former.swap( _buckets );
    for( DaBlockIndex block : former ) {
        while( block != NO_BLOCK ) {
            link( std::exchange( block, _pool[block]._nextInBucket ) );
        }
    }
}

void DaBlocksByAddress::insert( DaBlockIndex block ) {
    link( block );
    ++_size;
}

void DaBlocksByAddress::link( DaBlockIndex block ) {
    DaBlockIndex& bucket = bucketOf( _pool[block]._address );
    _pool[block]._nextInBucket = std::exchange( bucket, block );
}

DaBlockIndex DaBlocksByAddress::remove( std::uint64_t address ) {
    DaBlockIndex* link = &bucketOf( address );
    while( *link != NO_BLOCK && _pool[*link]._address != address ) {
        link = &_pool[*link]._nextInBucket;
    }
    const DaBlockIndex block = *link;
    if( block != NO_BLOCK ) {
        *link = _pool[block]._nextInBucket;
        --_size;
    }
    return block;
}

} // namespace Qv
