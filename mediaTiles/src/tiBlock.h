#pragma once

#include <mediaTiles/src/tiHints.h>
#include <resmgt/content/ctTileId.h>

#include <memory>
#include <vector>

namespace Qv {

class CtServer;
class LkAsyncHandle;
class TiBlockPool;

/// A block of a content server, cut into pieces for tiles of one size.
///
/// Errors:  of the transfers: what the server raises. After one, also where it was reported to a
///          handle, the hint is to be dropped, since it may be what is wrong.
/// Threads: any, but one at a time for one piece.
class TiBlock {
public:
    /// Makes the server's block, which stays until `remove`.
    TiBlock( TiBlockPool& pool, CtServer& server, unsigned int pieceSize, unsigned int nbPieces );

    TiBlockPool& getPool() const noexcept { return _pool; }

    void read( unsigned int piece, void* memory );
    void write( unsigned int piece, const void* memory );
    void asyncRead( unsigned int piece, void* memory, LkAsyncHandle* handle );
    void asyncWrite( unsigned int piece, const void* memory, LkAsyncHandle* handle );
    void dropHint() noexcept;
    /// What prevents it is logged.
    void remove() noexcept;

private:
    friend class TiBlockPool;

    CtPxTileId getId( unsigned int piece ) const noexcept;
    template <class Request>
    void perform( Request request );

    TiBlockPool& _pool;
    CtServer& _server;
    const unsigned int _pieceSize;
    CtSerialId _id;
    TiHint _hint;

    // All of these guarded by the pool's lock.
    std::unique_ptr<TiBlock> _next;
    /// Of the blocks with free pieces.
    TiBlock* _nextWithRoom = nullptr;
    /// With room for all pieces, so that giving one back can't fail.
    std::vector<unsigned int> _free;
    const unsigned int _nbPieces;
    /// A write has failed: nothing more is to be written here.
    bool _isBad = false;
};

/// Where a tile is kept.
struct TiPiece {
    TiBlock* block = nullptr;
    unsigned int index = 0;
};

} // namespace Qv
