#include <mediaTiles/src/tiBlockPool.h>

#include <base/locks/lkGuard.h>
#include <resmgt/content/ctEx.h>
#include <resmgt/content/ctServer.h>

#include <algorithm>
#include <optional>
#include <utility>

namespace Qv {

namespace {

using Guard = LkGuard<const LkLock>;

unsigned int getMostPieces( const CtServer& server, unsigned int pieceSize ) {
    if( pieceSize == 0 || pieceSize % server.getBlockSize() != 0 ) {
        return 1;
    }
    return std::clamp( TiBlockPool::MOST_BYTES / pieceSize, 1U, TiBlockPool::MOST_PIECES );
}

} // namespace

TiBlockPool::TiBlockPool( CtServer& server, unsigned int pieceSize )
    : _server( server )
    , _pieceSize( pieceSize )
    , _mostPieces( getMostPieces( server, pieceSize ) ) {}

TiBlockPool::~TiBlockPool() {
    while( _first != nullptr ) {
        _first->remove();
        _first = std::move( _first->_next );
    }
}

/// Ends the making of a block for several tiles, in whatever way.
class TiBlockPool::Growth {
public:
    explicit Growth( TiBlockPool& pool ) noexcept
        : _pool( pool ) {}
    Growth( const Growth& ) = delete;
    Growth& operator=( const Growth& ) = delete;
    ~Growth() {
        const Guard guard( _pool._lock );
        _pool._isGrowing = false;
        _pool._grown.broadcast();
    }

private:
    TiBlockPool& _pool;
};

TiPiece TiBlockPool::take( bool mayWait ) {
    unsigned int nbPieces = 0;
    std::optional<Growth> growth;
    {
        const Guard guard( _lock );
        while( _firstWithRoom == nullptr && _isGrowing && mayWait ) {
            _grown.wait( _lock );
        }
        if( _firstWithRoom != nullptr ) {
            return takeFree();
        }
        nbPieces = _isGrowing ? 1 : std::clamp( _nbPieces, 1U, _mostPieces );
        if( nbPieces > 1 ) {
            _isGrowing = true;
            growth.emplace( *this );
        }
    }
    return add( makeBlock( nbPieces ) );
}

TiPiece TiBlockPool::takeFree() {
    TiBlock& block = *_firstWithRoom;
    const unsigned int index = block._free.back();
    block._free.pop_back();
    if( block._free.empty() ) {
        _firstWithRoom = block._nextWithRoom;
    }
    return { &block, index };
}

std::unique_ptr<TiBlock> TiBlockPool::makeBlock( unsigned int nbPieces ) {
    for( ;; ) {
        try {
            return std::make_unique<TiBlock>( *this, _server, _pieceSize, nbPieces );
        } catch( const CtEx::ExNotEnoughSpace& ) {
            nbPieces /= 2;
            if( nbPieces == 0 ) {
                throw;
            }
        }
    }
}

TiPiece TiBlockPool::add( std::unique_ptr<TiBlock> block ) noexcept {
    const Guard guard( _lock );
    _nbPieces += block->_nbPieces;
    block->_nextWithRoom = _firstWithRoom;
    _firstWithRoom = block.get();
    block->_next = std::move( _first );
    _first = std::move( block );
    return takeFree();
}

void TiBlockPool::giveBack( TiPiece piece ) noexcept {
    std::unique_ptr<TiBlock> unused;
    {
        const Guard guard( _lock );
        unused = putBack( piece );
    }
    if( unused != nullptr ) {
        unused->remove();
    }
}

void TiBlockPool::giveUp( TiPiece piece ) noexcept {
    {
        const Guard guard( _lock );
        if( !std::exchange( piece.block->_isBad, true ) && !piece.block->_free.empty() ) {
            hideRoom( *piece.block );
        }
    }
    giveBack( piece );
}

/// Answers the block if it is bad and nobody has a piece of it any more.
std::unique_ptr<TiBlock> TiBlockPool::putBack( TiPiece piece ) noexcept {
    TiBlock& block = *piece.block;
    block._free.push_back( piece.index );
    if( !block._isBad && block._free.size() == 1 ) {
        block._nextWithRoom = _firstWithRoom;
        _firstWithRoom = &block;
    }
    return block._isBad && block._free.size() == block._nbPieces ? takeOut( block ) : nullptr;
}

std::unique_ptr<TiBlock> TiBlockPool::takeOut( const TiBlock& block ) noexcept {
    std::unique_ptr<TiBlock>* place = &_first;
    while( place->get() != &block ) {
        place = &( *place )->_next;
    }
    _nbPieces -= block._nbPieces;
    std::unique_ptr<TiBlock> found = std::move( *place );
    *place = std::move( found->_next );
    return found;
}

void TiBlockPool::hideRoom( const TiBlock& block ) noexcept {
    TiBlock** place = &_firstWithRoom;
    while( *place != &block ) {
        place = &( *place )->_nextWithRoom;
    }
    *place = block._nextWithRoom;
}

} // namespace Qv
