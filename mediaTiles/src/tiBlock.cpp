#include <mediaTiles/src/tiBlock.h>

#include <base/failure/exBase.h>
#include <mediaTiles/src/tiFailure.h>
#include <resmgt/content/ctServer.h>

namespace Qv {

TiBlock::TiBlock( CtServer& server, unsigned int size )
    : _server( server ) {
    const CtServer::NewTile made = server.createTile( size );
    _piece = CtPxTileId( made.tile.getSerialId(), 0, size );
    TiHints::getInstance().keep( _hint, made.hint );
}

/// Requests a transfer with the hint that is kept, and keeps the one that it answers.
template <class Request>
void TiBlock::perform( Request request ) {
    TiHints& hints = TiHints::getInstance();
    hints.keep( _hint, request( hints.get( _hint ) ) );
}

void TiBlock::read( void* memory ) {
    perform( [&]( const CtHintPtr& hint ) { return _server.read( _piece, memory, hint ); } );
}

void TiBlock::write( const void* memory ) {
    perform( [&]( const CtHintPtr& hint ) { return _server.write( _piece, memory, hint ); } );
}

void TiBlock::asyncRead( void* memory, LkAsyncHandle* handle ) {
    perform( [&]( const CtHintPtr& hint ) {
        return _server.asyncRead( _piece, memory, hint, handle );
    } );
}

void TiBlock::asyncWrite( const void* memory, LkAsyncHandle* handle ) {
    perform( [&]( const CtHintPtr& hint ) {
        return _server.asyncWrite( _piece, memory, hint, handle );
    } );
}

void TiBlock::dropHint() noexcept {
    TiHints::getInstance().keep( _hint, {} );
}

void TiBlock::remove() noexcept {
    dropHint();
    try {
        _server.removeTile( _piece.getSerialId() );
    } catch( ... ) {
        logFailure( "A block that no tile needs can't be removed: " );
    }
}

} // namespace Qv
