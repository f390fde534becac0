#pragma once

#include <base/locks/lkLock.h>
#include <resmgt/content/ctTileId.h>

#include <cstdint>
#include <map>
#include <optional>
#include <unordered_map>
#include <vector>

namespace Qv {

/// Checksums of the pieces that were written, for a store that checks what it reads.
///
///     const auto write = sums.beginWrite( tile );      const auto read = sums.beginRead( tile );
///     ... write memory to the file ...                 ... read the file into memory ...
///     sums.endWrite( write, tile, memory );            sums.isAsWritten( read, tile, memory )
///
/// Pieces:  a write ends what was known of all pieces that it overlaps. A read is compared with
///          every piece that lies in it whole; of one that it has in part nothing can be said.
/// Overlap: a piece that was being written while it was read isn't compared.
/// Threads: any.
/// Cost:    a lock, one pass over the bytes and some 100 bytes of memory for each piece.
class CtPieceSums {
public:
    /// Of one write, never 0.
    using Stamp = std::uint64_t;
    struct Expected {
        std::uint32_t offset;
        std::uint32_t size;
        std::uint64_t sum;
        Stamp stamp;
    };

    Stamp beginWrite( const CtPxTileId& tile );
    void endWrite( Stamp stamp, const CtPxTileId& tile, const void* memory );

    std::vector<Expected> beginRead( const CtPxTileId& tile ) const;
    bool isAsWritten( const std::vector<Expected>& expected, const CtPxTileId& tile,
                      const void* memory ) const;

    /// The block is gone.
    void forget( CtSerialId id );
    void forgetAll();

private:
    struct Piece {
        std::uint32_t size;
        Stamp stamp;
        /// Nothing while it is being written.
        std::optional<std::uint64_t> sum;
    };
    /// By their offsets, no two of which overlap.
    using Pieces = std::map<std::uint32_t, Piece>;

    const Piece* find( CtSerialId id, std::uint32_t offset, Stamp stamp ) const
        QV_REQUIRES( _lock );

    const LkLock _lock{ "ct-piece-sums" };
    Stamp _lastStamp QV_GUARDED_BY( _lock ) = 0;
    std::unordered_map<std::uint64_t, Pieces> _blocks QV_GUARDED_BY( _lock );
};

} // namespace Qv
