#pragma once

#include <mediaTiles/src/tiHints.h>
#include <resmgt/content/ctTileId.h>

#include <memory>

namespace Qv {

class CtServer;
class LkAsyncHandle;

/// A block of a content server, with the hint for its next request.
///
/// Errors:  of the transfers: what the server raises. After one, also where it was reported to a
///          handle, the hint is to be dropped, since it may be what is wrong.
/// Threads: one at a time.
class TiBlock {
public:
    /// Makes the block, which stays until `remove`.
    TiBlock( CtServer& server, unsigned int size );

    unsigned int getSize() const noexcept { return _piece.getSize(); }

    void read( void* memory );
    void write( const void* memory );
    void asyncRead( void* memory, LkAsyncHandle* handle );
    void asyncWrite( const void* memory, LkAsyncHandle* handle );
    void dropHint() noexcept;
    /// What prevents it is logged.
    void remove() noexcept;

    /// For who has the block.
    std::unique_ptr<TiBlock> next;

private:
    template <class Request>
    void perform( Request request );

    CtServer& _server;
    /// All of the block.
    CtPxTileId _piece;
    TiHint _hint;
};

} // namespace Qv
