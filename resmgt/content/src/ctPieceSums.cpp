#include <resmgt/content/src/ctPieceSums.h>

#include <base/locks/lkGuard.h>

#include <algorithm>
#include <cstring>

namespace Qv {

namespace {

/// Mixes eight bytes at a time, each step a bijection of the state: a change of any single word
/// changes the sum.
std::uint64_t sumOf( const void* memory, std::size_t size ) {
    constexpr std::uint64_t FACTOR = 0x9e3779b97f4a7c15U;
    const auto* bytes = static_cast<const unsigned char*>( memory );
    std::uint64_t sum = size;
    while( size > 0 ) {
        std::uint64_t word = 0;
        const std::size_t count = std::min( size, sizeof( word ) );
        std::memcpy( &word, bytes, count );
        sum = ( sum ^ word ) * FACTOR;
        sum ^= sum >> 32U;
        bytes += count;
        size -= count;
    }
    return sum;
}

std::uint64_t endOf( const CtPxTileId& tile ) {
    return std::uint64_t( tile.getOffset() ) + tile.getSize();
}

} // namespace

CtPieceSums::Stamp CtPieceSums::beginWrite( const CtPxTileId& tile ) {
    const LkGuard<const LkLock> guard( _lock );
    Pieces& pieces = _blocks[tile.getSerialId()];
    auto piece = pieces.lower_bound( tile.getOffset() );
    if( piece != pieces.begin() ) {
        const auto before = std::prev( piece );
        const bool overlaps =
            std::uint64_t( before->first ) + before->second.size > tile.getOffset();
        piece = overlaps ? before : piece;
    }
    while( piece != pieces.end() && piece->first < endOf( tile ) ) {
        piece = pieces.erase( piece );
    }
    ++_lastStamp;
    if( tile.getSize() > 0 ) {
        pieces.insert_or_assign( tile.getOffset(), Piece{ tile.getSize(), _lastStamp, {} } );
    }
    return _lastStamp;
}

void CtPieceSums::endWrite( Stamp stamp, const CtPxTileId& tile, const void* memory ) {
    const std::uint64_t sum = sumOf( memory, tile.getSize() );
    const LkGuard<const LkLock> guard( _lock );
    const auto block = _blocks.find( tile.getSerialId() );
    if( block == _blocks.end() ) {
        return;
    }
    const auto piece = block->second.find( tile.getOffset() );
    if( piece != block->second.end() && piece->second.stamp == stamp ) {
        piece->second.sum = sum;
    }
}

std::vector<CtPieceSums::Expected> CtPieceSums::beginRead( const CtPxTileId& tile ) const {
    std::vector<Expected> expected;
    const LkGuard<const LkLock> guard( _lock );
    const auto block = _blocks.find( tile.getSerialId() );
    if( block == _blocks.end() ) {
        return expected;
    }
    const Pieces& pieces = block->second;
    for( auto piece = pieces.lower_bound( tile.getOffset() );
         piece != pieces.end() && piece->first < endOf( tile ); ++piece ) {
        const auto& [offset, facts] = *piece;
        if( facts.sum && std::uint64_t( offset ) + facts.size <= endOf( tile ) ) {
            expected.push_back( { offset, facts.size, *facts.sum, facts.stamp } );
        }
    }
    return expected;
}

bool CtPieceSums::isAsWritten( const std::vector<Expected>& expected, const CtPxTileId& tile,
                               const void* memory ) const {
    const auto* const bytes = static_cast<const unsigned char*>( memory );
    return std::all_of( expected.begin(), expected.end(), [&]( const Expected& piece ) {
        if( sumOf( bytes + ( piece.offset - tile.getOffset() ), piece.size ) == piece.sum ) {
            return true;
        }
        // Another write may have begun meanwhile.
        const LkGuard<const LkLock> guard( _lock );
        return find( tile.getSerialId(), piece.offset, piece.stamp ) == nullptr;
    } );
}

const CtPieceSums::Piece* CtPieceSums::find( CtSerialId id, std::uint32_t offset,
                                             Stamp stamp ) const {
    const auto block = _blocks.find( id );
    if( block == _blocks.end() ) {
        return nullptr;
    }
    const auto piece = block->second.find( offset );
    const bool isThere = piece != block->second.end() && piece->second.stamp == stamp;
    return isThere ? &piece->second : nullptr;
}

void CtPieceSums::forget( CtSerialId id ) {
    const LkGuard<const LkLock> guard( _lock );
    _blocks.erase( id );
}

void CtPieceSums::forgetAll() {
    const LkGuard<const LkLock> guard( _lock );
    _blocks.clear();
}

} // namespace Qv
