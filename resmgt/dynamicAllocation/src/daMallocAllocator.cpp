#include <resmgt/dynamicAllocation/daMallocAllocator.h>

#include <resmgt/logger/qvLog.h>

#include <algorithm>
#include <new>

namespace Qv {

namespace {

// Bytes. One very large request may not be satisfiable as a whole.
constexpr std::size_t LARGEST_PIECE = 0x20000000;
// Bytes: the size of the last piece, and what must be missing for another one.
constexpr std::size_t LAST_PIECE = 0x4000000;
// Bytes, a power of two. Halved pieces are whole pages: what an arena asks of its size, and no
// remainder is lost to it. Where not even one page is to be had, halving on would only take the
// process's last memory.
constexpr std::size_t PAGE = 4096;

} // namespace

OPtrRet<DaMallocAllocator> DaMallocAllocator::create() {
    return OPtr<DaMallocAllocator>( new DaMallocAllocator );
}

DaArenaAllocator::Pieces DaMallocAllocator::allocate( std::size_t size ) {
    Pieces result;
    std::size_t remaining = size;
    std::size_t piece = std::min( size, LARGEST_PIECE );
    while( remaining >= LAST_PIECE && piece >= PAGE ) {
        if( !appendPiece( result, piece ) ) {
            piece = piece / 2 & ~( PAGE - 1 );
            continue;
        }
        remaining -= piece;
        if( remaining == 0 ) {
            return result;
        }
        piece = std::min( remaining, LARGEST_PIECE );
    }
    if( !appendPiece( result, LAST_PIECE ) ) {
        QV_LOG( Allocation, Warning, "Requested allocation missing: ", remaining, " bytes." );
    }
    return result;
}

bool DaMallocAllocator::appendPiece( Pieces& pieces, std::size_t size ) {
    try {
        // First the place in the list: with the piece in hand nothing may fail.
        if( pieces.size() == pieces.capacity() ) {
            pieces.reserve( pieces.size() * 2 + 8 );
        }
        pieces.emplace_back( allocatePiece( size ), size );
        return true;
    } catch( const std::bad_alloc& ) {
        return false;
    }
}

void DaMallocAllocator::deallocate( const Pieces& pieces, std::size_t ) {
    for( const auto& piece : pieces ) {
        deallocatePiece( piece.first );
    }
}

void* DaMallocAllocator::allocatePiece( std::size_t size ) {
    return ::operator new[]( size );
}

void DaMallocAllocator::deallocatePiece( void* piece ) noexcept {
    ::operator delete[]( piece );
}

} // namespace Qv
