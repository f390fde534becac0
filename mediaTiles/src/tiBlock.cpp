#include <mediaTiles/src/tiBlock.h>

#include <mediaTiles/src/tiFailure.h>
#include <resmgt/content/ctServer.h>

namespace Qv {

TiBlock::TiBlock( TiBlockPool& pool, CtServer& server, unsigned int pieceSize,
                  unsigned int nbPieces )
    : _pool( pool )
    , _server( server )
    , _pieceSize( pieceSize )
    , _nbPieces( nbPieces ) {
    _free.reserve( nbPieces );
    // The first ones come first.
    for( unsigned int piece = nbPieces; piece-- > 0; ) {
        _free.push_back( piece );
    }
    const CtServer::NewTile made = server.createTile( nbPieces * pieceSize );
    _id = made.tile.getSerialId();
    TiHints::getInstance().keep( _hint, made.hint );
}

CtPxTileId TiBlock::getId( unsigned int piece ) const noexcept {
    return CtPxTileId( _id, piece * _pieceSize, _pieceSize );
}

/// Requests a transfer with the hint that is kept, and keeps the one that it answers.
template <class Request>
void TiBlock::perform( Request request ) {
    TiHints& hints = TiHints::getInstance();
    hints.keep( _hint, request( hints.get( _hint ) ) );
}

void TiBlock::read( unsigned int piece, void* memory ) {
    perform(
        [&]( const CtHintPtr& hint ) { return _server.read( getId( piece ), memory, hint ); } );
}

void TiBlock::write( unsigned int piece, const void* memory ) {
    perform(
        [&]( const CtHintPtr& hint ) { return _server.write( getId( piece ), memory, hint ); } );
}

void TiBlock::asyncRead( unsigned int piece, void* memory, LkAsyncHandle* handle ) {
    perform( [&]( const CtHintPtr& hint ) {
        return _server.asyncRead( getId( piece ), memory, hint, handle );
    } );
}

void TiBlock::asyncWrite( unsigned int piece, const void* memory, LkAsyncHandle* handle ) {
    perform( [&]( const CtHintPtr& hint ) {
        return _server.asyncWrite( getId( piece ), memory, hint, handle );
    } );
}

void TiBlock::dropHint() noexcept {
    TiHints::getInstance().keep( _hint, {} );
}

void TiBlock::remove() noexcept {
    dropHint();
    try {
        _server.removeTile( _id );
    } catch( ... ) {
        logFailure( "A block that no tile needs can't be removed: " );
    }
}

} // namespace Qv
