#pragma once

#include <base/locks/lkAnnotations.h>
#include <base/locks/lkLock.h>
#include <mediaTiles/src/tiBlock.h>
#include <resmgt/locks/lkCondVar.h>

#include <memory>

namespace Qv {

class CtServer;

/// The pieces for tiles of one size.
///
/// Growth:  a new block has as many pieces as there are already, so that few blocks serve many
///          tiles and little is reserved for a few; at most MOST_PIECES, and together MOST_BYTES.
///          Where the server has no room for so many, half of them are tried. A size that isn't a
///          multiple of the server's unit, at which transfers begin, has a block for each piece.
///          Only one thread at a time makes a block of several pieces; others wait for theirs,
///          rather than reserve as much again or find that there is no room left.
/// Lock:    for the lists; not held while the server works.
/// Threads: any. All pieces are back before the end, which removes the blocks.
class TiBlockPool {
public:
    /// More would gain little, and keep others waiting: a server may serve all requests for one
    /// block before those for the next.
    static constexpr unsigned int MOST_PIECES = 64;
    static constexpr unsigned int MOST_BYTES = 16U << 20;

    TiBlockPool( CtServer& server, unsigned int pieceSize );
    TiBlockPool( const TiBlockPool& ) = delete;
    TiBlockPool& operator=( const TiBlockPool& ) = delete;
    ~TiBlockPool();

    /// A piece with undefined content. Raises what the server raises where it has no room. A thread
    /// that mustn't wait for another one, as in a completion, makes a block of one piece meanwhile.
    TiPiece take( bool mayWait );
    void giveBack( TiPiece piece ) noexcept;
    /// The same for one that couldn't be written; nobody gets a piece of its block any more.
    void giveUp( TiPiece piece ) noexcept;

private:
    class Growth;

    TiPiece takeFree() QV_REQUIRES( _lock );
    std::unique_ptr<TiBlock> makeBlock( unsigned int nbPieces );
    TiPiece add( std::unique_ptr<TiBlock> block ) noexcept;
    std::unique_ptr<TiBlock> putBack( TiPiece piece ) noexcept QV_REQUIRES( _lock );
    std::unique_ptr<TiBlock> takeOut( const TiBlock& block ) noexcept QV_REQUIRES( _lock );
    void hideRoom( const TiBlock& block ) noexcept QV_REQUIRES( _lock );

    CtServer& _server;
    const unsigned int _pieceSize;
    const unsigned int _mostPieces;
    const LkLock _lock{ "ti-block-pool" };
    std::unique_ptr<TiBlock> _first QV_GUARDED_BY( _lock );
    /// The block that has free pieces and was given one back last.
    TiBlock* _firstWithRoom QV_GUARDED_BY( _lock ) = nullptr;
    unsigned int _nbPieces QV_GUARDED_BY( _lock ) = 0;
    bool _isGrowing QV_GUARDED_BY( _lock ) = false;
    const LkCondVar _grown{ "ti-block-pool-grown" };
};

} // namespace Qv
